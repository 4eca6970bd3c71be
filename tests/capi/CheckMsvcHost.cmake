# Builds MsvcAbiHost.c as a Visual Studio host would (clang for x86_64-pc-windows-msvc, lld-link
# against XeloraAlgo.lib) and runs it beside the DLL through EMULATOR (words separated by '|').
cmake_minimum_required(VERSION 3.20)
file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK})
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed (${rc}): ${ARGN}\n${out}\n${err}")
  endif()
endfunction()
run(${CLANG} --target=x86_64-pc-windows-msvc -ffreestanding -std=c99 -O1 -Wall -I${INCLUDE}
    -c ${SOURCE} -o ${WORK}/host.obj)
run(${LLD_LINK} /nologo /subsystem:console /entry:mainCRTStartup /nodefaultlib ${WORK}/host.obj ${IMPLIB}
    ${KERNEL32} /out:${WORK}/host.exe)
file(COPY ${DLL} DESTINATION ${WORK})
string(REPLACE "|" ";" emulator "${EMULATOR}")
execute_process(COMMAND ${emulator} ${WORK}/host.exe RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "the Visual Studio-style host failed the check on line ${rc} of MsvcAbiHost.c")
endif()
