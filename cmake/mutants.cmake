# The mutants: the program's images once more, built to note what of them runs, beside the native tests.

if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    message(STATUS "the mutants' tests are chosen by what GCC notes, and are left out with another compiler")
    return()
endif()
set(MUTANTS_FOLDER ${CMAKE_CURRENT_BINARY_DIR}/mutants)

# What the images note with is the host's, without the simulated machine's headers.
add_library(kelo_visits OBJECT EXCLUDE_FROM_ALL tests/mutants/visits.c)
target_compile_options(kelo_visits PRIVATE -O1 -fPIC -Wall -Wextra)

# Code that is not optimised keeps its lines apart, and takes the least time to compile.
image_variant(noting FOLDER ${MUTANTS_FOLDER} OPTIONS -O0 -fsanitize-coverage=trace-pc
    LIBRARIES $<TARGET_OBJECTS:kelo_visits>)
# A changed source is compiled in half the time with them.
target_precompile_headers(kelo_noting_objects PRIVATE
    <windows.h> <shlobj.h> <aclapi.h> <cstdio> <memory> <optional> <string> <vector>)

add_custom_target(mutants_tests)
add_dependencies(mutants_tests unit_tests scenarios_tests faults_tests kelo-rehearse ending_program
    kelo_noting_program kelo_noting_library kelo_noting_test_program)

add_test(NAME mutants.source COMMAND ${KELO_PYTHON} -B ${PROJECT_SOURCE_DIR}/tests/mutants/check.py
    ${PROJECT_SOURCE_DIR} ${CMAKE_CURRENT_BINARY_DIR})
set_tests_properties(mutants.source PROPERTIES LABELS mutants TIMEOUT 14400 COST 900)
