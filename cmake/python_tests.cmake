# Tests in Python: of the images that were built for Windows, and the end-to-end tests of them under Wine. Each test case
# is a test of its own.

find_program(KELO_PYTHON python3 PATHS /usr/bin NO_DEFAULT_PATH REQUIRED)

function(python_tests group)
    set(folder ${PROJECT_SOURCE_DIR}/tests/${group})
    set(lister ${PROJECT_SOURCE_DIR}/tests/support/list_cases.py)
    file(GLOB sources CONFIGURE_DEPENDS ${folder}/*.py)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${sources} ${lister} ${ARGN})
    execute_process(COMMAND ${KELO_PYTHON} -B ${lister} ${folder} OUTPUT_VARIABLE cases OUTPUT_STRIP_TRAILING_WHITESPACE
        COMMAND_ERROR_IS_FATAL ANY)
    string(REPLACE "\n" ";" cases "${cases}")
    foreach(case ${cases})
        add_test(NAME ${group}.${case} COMMAND ${KELO_PYTHON} -B -m unittest ${case} WORKING_DIRECTORY ${folder})
        set_tests_properties(${group}.${case} PROPERTIES LABELS ${group} TIMEOUT 300)
    endforeach()
endfunction()

python_tests(images)
# There is a test for each machine.
file(GLOB KELO_MACHINES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/machines/*.json)
python_tests(e2e ${KELO_MACHINES})
