# Runs the golden dump into OUT and compares its SHA-256 with the first word of EXPECTED.
# EMULATOR (optional, words separated by '|') runs the program of a cross build, e.g. under wine.
# FLAGS (optional) go to the program before OUT.
string(REPLACE "|" ";" emulator "${EMULATOR}")
execute_process(COMMAND ${emulator} ${GOLDEN} ${FLAGS} ${OUT} RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "xelora_golden failed (${rc})")
endif()
file(SHA256 ${OUT} actual)
file(READ ${EXPECTED} expected_text)
string(REGEX MATCH "^[0-9a-f]+" expected "${expected_text}")
if(NOT actual STREQUAL expected)
  message(FATAL_ERROR
    "The library's results changed.\n"
    "  expected SHA-256 ${expected}  (tests/golden/golden.sha256)\n"
    "  actual   SHA-256 ${actual}  (${OUT})\n"
    "If the change is intended, run scripts/update-golden.sh [build-dir]: it writes the new hash and\n"
    "keeps the previous dump, so that `xelora_golden --diff OLD NEW` lists the records that changed.\n"
    "Commit the new hash together with the change and say why the results changed.")
endif()
message(STATUS "golden dump SHA-256 ${actual}")
