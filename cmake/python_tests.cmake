# Lists the tests in Python, each case as its own test: of a log's page in a browser, of rehearsals on many machines, of
# the images for Windows, and of runs under Wine. A test ends with ctest, however ctest itself ends. A slow test ends
# before ctest's own limit, so that it can tidy up.

find_program(KELO_PYTHON python3 PATHS /usr/bin NO_DEFAULT_PATH REQUIRED)

# The preset names the build for Windows.
set(KELO_BUILDS KELO_NATIVE_BUILD=${CMAKE_BINARY_DIR} KELO_WINDOWS_BUILD=${KELO_WINDOWS_BUILD})

function(python_tests group)
    set(folder ${PROJECT_SOURCE_DIR}/tests/${group})
    set(lister ${PROJECT_SOURCE_DIR}/tests/support/list_cases.py)
    file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${folder}/*.py)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${sources} ${lister} ${ARGN})
    execute_process(COMMAND ${KELO_PYTHON} -B ${lister} ${folder} OUTPUT_VARIABLE cases OUTPUT_STRIP_TRAILING_WHITESPACE
        COMMAND_ERROR_IS_FATAL ANY)
    string(REPLACE "\n" ";" cases "${cases}")
    # Hundreds of tests under Wine share what Python compiles, which is kept in this build. For the few of other groups,
    # to compile even the libraries once would take longer than it saves.
    set(python ${KELO_PYTHON} -B)
    set(environment ${KELO_BUILDS})
    if(group STREQUAL e2e)
        set(python ${KELO_PYTHON})
        list(APPEND environment PYTHONPYCACHEPREFIX=${CMAKE_BINARY_DIR}/python PYTHONDONTWRITEBYTECODE=)
    endif()
    foreach(case ${cases})
        add_test(NAME ${group}.${case} WORKING_DIRECTORY ${folder}
            COMMAND setpriv --pdeathsig TERM timeout --foreground 280 ${python} -m unittest ${case})
        set_tests_properties(${group}.${case} PROPERTIES LABELS ${group} TIMEOUT 300 ENVIRONMENT "${environment}")
    endforeach()
endfunction()

python_tests(explain)
# This test measures time.
set_tests_properties(explain.page_test.Page.test_a_wait_of_300000_looks_opens_at_once PROPERTIES RUN_SERIAL TRUE)
python_tests(many)
python_tests(images)
# This test builds on all processors.
set_tests_properties(images.reproducible_test.Reproducible.test_another_folder_gives_the_same_bytes PROPERTIES
    RUN_SERIAL TRUE)
# All programs under Wine run with this library.
add_library(heap_guard SHARED tests/e2e/wine/heap_guard.c)
# Its heap begins right after this section.
add_executable(unlucky_heap tests/e2e/wine/unlucky_heap.c)
target_link_options(unlucky_heap PRIVATE -no-pie -Wl,--section-start=.before_heap=0x7ffdf000)
# There is a test for each machine.
file(GLOB KELO_MACHINES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/machines/*.json)
python_tests(e2e ${KELO_MACHINES})
# The longest ones begin first: otherwise the group would wait for them at its end.
set_tests_properties(
    e2e.machines_test.EachMachine.test_a_stack_that_does_not_start_again
    e2e.machines_test.EachMachine.test_machines_windows_7_busy_json
    e2e.proof_kit_test.ProofKit.test_carries_out_its_steps_and_all_is_as_predicted
    e2e.service_control_test.StartServiceByName.test_never_ending_start_is_given_up_after_101_polls
    e2e.service_control_test.TimedStop.test_refused
    e2e.stack_setup_test.LongPaths.test_default_stack_is_set_up_without_anything_from_elsewhere
    e2e.stack_setup_test.LongPaths.test_no_stack_is_found
    PROPERTIES COST 100)
