# Installs the built library into a scratch prefix, then builds and runs a consumer program against it
# twice: through find_package(XeloraAlgo CONFIG) and through pkg-config.
file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})
set(PREFIX ${WORK_DIR}/prefix)

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "command failed (${rc}): ${ARGN}\n${out}\n${err}")
  endif()
  set(LAST_OUTPUT "${out}" PARENT_SCOPE)
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${PREFIX})

# CMake package
run(${CMAKE_COMMAND} -S ${SOURCE_DIR}/tests/frame/consumer -B ${WORK_DIR}/cmake-build
    -DCMAKE_PREFIX_PATH=${PREFIX} -DCMAKE_BUILD_TYPE=Release)
run(${CMAKE_COMMAND} --build ${WORK_DIR}/cmake-build)
run(${WORK_DIR}/cmake-build/consumer)
message(STATUS "find_package consumer: ${LAST_OUTPUT}")

# pkg-config
find_program(PKG_CONFIG pkg-config REQUIRED)
find_program(CXX NAMES c++ g++ REQUIRED)
file(GLOB_RECURSE pcfile ${PREFIX}/*/xeloraalgo.pc)
get_filename_component(pcdir "${pcfile}" DIRECTORY)
set(ENV{PKG_CONFIG_PATH} ${pcdir})
run(${PKG_CONFIG} --cflags --libs xeloraalgo)
string(STRIP "${LAST_OUTPUT}" flags)
separate_arguments(flags UNIX_COMMAND "${flags}")
run(${CXX} -std=c++17 ${SOURCE_DIR}/tests/frame/consumer/main.cpp ${flags} -o ${WORK_DIR}/consumer-pc)
get_filename_component(libdir "${pcdir}" DIRECTORY)
set(ENV{LD_LIBRARY_PATH} ${libdir})
run(${WORK_DIR}/consumer-pc)
message(STATUS "pkg-config consumer: ${LAST_OUTPUT}")
