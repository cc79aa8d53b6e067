# The mutants: the program's images once more, built to record the code that runs, beside the native tests.

if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    message(STATUS "the mutants' tests are chosen by what GCC notes, and are left out with another compiler")
    return()
endif()
set(MUTANTS_FOLDER ${CMAKE_CURRENT_BINARY_DIR}/mutants)

# The code that records uses the host's headers, not the simulated machine's.
add_library(kelo_visits OBJECT EXCLUDE_FROM_ALL tests/mutants/visits.c)
target_compile_options(kelo_visits PRIVATE -O1 -fPIC -Wall -Wextra)

# Unoptimised code keeps its lines separate, and compiles fastest. Its sources are named relative to the project's
# folder: a compiler cache may return what was compiled in another one.
image_variant(noting FOLDER ${MUTANTS_FOLDER}
    OPTIONS -O0 -fsanitize-coverage=trace-pc -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=
    LIBRARIES $<TARGET_OBJECTS:kelo_visits>)

add_custom_target(mutants_tests ALL)
add_dependencies(mutants_tests unit_tests scenarios_tests faults_tests kelo-rehearse ending_program
    kelo_noting_program kelo_noting_library kelo_noting_test_program)

add_test(NAME mutants.source COMMAND ${KELO_PYTHON} -B ${PROJECT_SOURCE_DIR}/tests/mutants/check.py
    ${PROJECT_SOURCE_DIR} ${CMAKE_CURRENT_BINARY_DIR})
set_tests_properties(mutants.source PROPERTIES LABELS mutants TIMEOUT 14400 COST 900)
