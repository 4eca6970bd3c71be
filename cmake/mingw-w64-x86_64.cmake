# Cross build for 64-bit Windows with Debian's MinGW-w64 compilers (POSIX thread model, so that
# std::thread works). Test programs run under wine64 through cmake/wine-run.sh, with a private wine
# prefix inside the build directory; gtest_discover_tests and ctest use it as the emulator.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(_triple x86_64-w64-mingw32)
set(CMAKE_C_COMPILER   ${_triple}-gcc-posix)
set(CMAKE_CXX_COMPILER ${_triple}-g++-posix)
set(CMAKE_RC_COMPILER  ${_triple}-windres)
set(CMAKE_AR           /usr/bin/${_triple}-ar CACHE FILEPATH "archiver")
set(CMAKE_RANLIB       /usr/bin/${_triple}-ranlib CACHE FILEPATH "ranlib")

set(CMAKE_FIND_ROOT_PATH /usr/${_triple})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The compiler's runtime (libstdc++, libgcc, winpthread) is linked statically into every program
# and into XeloraAlgo.dll: the DLL then imports only system DLLs and ships alone, and no host can
# pick up a different libstdc++-6.dll from its PATH.
set(CMAKE_EXE_LINKER_FLAGS_INIT    "-static -static-libgcc -static-libstdc++")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static -static-libgcc -static-libstdc++")

# Programs and the DLL in one folder, so that Windows finds the DLL beside every program.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)

set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/wine-run.sh ${CMAKE_BINARY_DIR}/wineprefix)
