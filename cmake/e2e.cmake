# The end-to-end tests: the real program under Wine. Each test case is a test of its own.

find_program(KELO_PYTHON python3 PATHS /usr/bin NO_DEFAULT_PATH REQUIRED)
set(E2E_FOLDER ${PROJECT_SOURCE_DIR}/tests/e2e)
file(GLOB E2E_SOURCES CONFIGURE_DEPENDS ${E2E_FOLDER}/*.py ${PROJECT_SOURCE_DIR}/machines/*.json)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${E2E_SOURCES})

execute_process(COMMAND ${KELO_PYTHON} -B list_cases.py WORKING_DIRECTORY ${E2E_FOLDER}
    OUTPUT_VARIABLE E2E_CASES OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
string(REPLACE "\n" ";" E2E_CASES "${E2E_CASES}")
foreach(case ${E2E_CASES})
    add_test(NAME e2e.${case} COMMAND ${KELO_PYTHON} -B -m unittest ${case} WORKING_DIRECTORY ${E2E_FOLDER})
    set_tests_properties(e2e.${case} PROPERTIES LABELS e2e TIMEOUT 300)
endforeach()
