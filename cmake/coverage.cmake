# The coverage test: the program's images once more, built to count the code that runs, beside the native tests.

if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    message(STATUS "the coverage test reads what GCC counts, and is left out with another compiler")
    return()
endif()
string(REGEX MATCH "^[0-9]+" gcc_version ${CMAKE_CXX_COMPILER_VERSION})
find_program(KELO_GCOV NAMES gcov-${gcc_version} gcov REQUIRED)
set(COVERAGE_FOLDER ${CMAKE_CURRENT_BINARY_DIR}/coverage)

# An image adds its counts to its files whenever it is unloaded. The compiler's runtime does this and closes files, but
# in an image fclose is the simulated machine's. The runtime therefore gets the host's fclose, which has another name,
# too.
execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=libgcov.a
    OUTPUT_VARIABLE libgcov OUTPUT_STRIP_TRAILING_WHITESPACE)
set(COVERAGE_RUNTIME ${COVERAGE_FOLDER}/libgcov.a)
add_custom_command(OUTPUT ${COVERAGE_RUNTIME}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${COVERAGE_FOLDER}
    COMMAND ${CMAKE_OBJCOPY} --redefine-sym fclose=_IO_fclose ${libgcov} ${COVERAGE_RUNTIME}
    DEPENDS ${libgcov} VERBATIM)
add_custom_target(coverage_runtime DEPENDS ${COVERAGE_RUNTIME})

# Optimised code has different branches from the source.
image_variant(counting FOLDER ${COVERAGE_FOLDER} OPTIONS -O0 -fprofile-arcs -ftest-coverage
    LIBRARIES ${COVERAGE_RUNTIME})
foreach(image program library test_program)
    add_dependencies(kelo_counting_${image} coverage_runtime)
endforeach()

# Tests use the images that lie beside them.
set(COUNTED_TESTS unit_tests scenarios_tests)
set(BESIDE_IMAGES kelo-rehearse ending_program ${COUNTED_TESTS})
list(TRANSFORM BESIDE_IMAGES REPLACE "(.+)" "$<TARGET_FILE:\\1>" OUTPUT_VARIABLE files_beside_images)
add_custom_target(coverage_tests ALL
    COMMAND ${CMAKE_COMMAND} -E copy_if_different ${files_beside_images} ${COVERAGE_FOLDER} VERBATIM)
add_dependencies(coverage_tests ${BESIDE_IMAGES}
    kelo_counting_program kelo_counting_library kelo_counting_test_program)

add_test(NAME coverage.source COMMAND ${KELO_PYTHON} -B ${PROJECT_SOURCE_DIR}/tests/coverage/check.py
    ${PROJECT_SOURCE_DIR} ${KELO_GCOV} ${COVERAGE_FOLDER} ${CMAKE_CURRENT_BINARY_DIR}/CMakeFiles ${COUNTED_TESTS})
set_tests_properties(coverage.source PROPERTIES LABELS coverage TIMEOUT 600 COST 500)
