# The mutants: the program's images once more, built to note what of them runs, beside the native tests.

if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    message(STATUS "the mutants' tests are chosen by what GCC notes, and are left out with another compiler")
    return()
endif()
set(MUTANTS_FOLDER ${CMAKE_CURRENT_BINARY_DIR}/mutants)

# Code that is not optimised keeps its lines apart, and takes the least time to compile.
set(NOTING_OPTIONS -O0 -fsanitize-coverage=trace-pc)

# What the images note with is the host's, without the simulated machine's headers.
add_library(kelo_visits OBJECT EXCLUDE_FROM_ALL tests/mutants/visits.c)
target_compile_options(kelo_visits PRIVATE -O1 -fPIC -Wall -Wextra)

add_library(kelo_noting_objects OBJECT EXCLUDE_FROM_ALL ${KELO_SOURCES})
target_include_directories(kelo_noting_objects PUBLIC ${PROJECT_SOURCE_DIR}/src)
winsim_program(kelo_noting_objects)
target_compile_options(kelo_noting_objects PRIVATE ${NOTING_OPTIONS})
# A changed source is compiled in half the time with them.
target_precompile_headers(kelo_noting_objects PRIVATE
    <windows.h> <shlobj.h> <aclapi.h> <cstdio> <memory> <optional> <string> <vector>)

# An image of the same name as `image`, made of what that adds to the program's own objects.
function(noting_image target image)
    add_library(${target} MODULE EXCLUDE_FROM_ALL $<TARGET_PROPERTY:${image},SOURCES>)
    target_link_libraries(${target} PRIVATE kelo_noting_objects $<TARGET_OBJECTS:kelo_visits>)
    target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR})
    winsim_program(${target})
    target_compile_options(${target} PRIVATE ${NOTING_OPTIONS})
    set_target_properties(${target} PROPERTIES LIBRARY_OUTPUT_DIRECTORY ${MUTANTS_FOLDER}
        OUTPUT_NAME $<TARGET_PROPERTY:${image},OUTPUT_NAME>)
endfunction()

noting_image(kelo_noting_program kelo_program)
noting_image(kelo_noting_library kelo_library)
noting_image(kelo_noting_test_program kelo_test_program)

add_custom_target(mutants_tests)
add_dependencies(mutants_tests unit_tests scenarios_tests faults_tests kelo-rehearse ending_program
    kelo_noting_program kelo_noting_library kelo_noting_test_program)

add_test(NAME mutants.source COMMAND ${KELO_PYTHON} -B ${PROJECT_SOURCE_DIR}/tests/mutants/check.py
    ${PROJECT_SOURCE_DIR} ${CMAKE_CURRENT_BINARY_DIR})
set_tests_properties(mutants.source PROPERTIES LABELS mutants TIMEOUT 14400 COST 900)
