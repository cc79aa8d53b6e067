# The sanitizer tests: winsim and the program's images once more, watched by the address sanitizer, the leak sanitizer
# and the undefined-behaviour sanitizer, and the native tests linked with those.

set(SANITIZERS_FOLDER ${CMAKE_CURRENT_BINARY_DIR}/sanitizers)
set(SANITIZERS -fsanitize=address,undefined)
set(WATCHING_OPTIONS ${SANITIZERS} -fno-sanitize-recover=all -fno-omit-frame-pointer)

function(watched target)
    target_compile_options(${target} PRIVATE ${WATCHING_OPTIONS})
    target_link_options(${target} PRIVATE ${SANITIZERS})
    set_target_properties(${target} PROPERTIES LIBRARY_OUTPUT_DIRECTORY ${SANITIZERS_FOLDER}
        RUNTIME_OUTPUT_DIRECTORY ${SANITIZERS_FOLDER})
endfunction()

get_target_property(winsim_sources winsim SOURCES)
add_library(watched_winsim SHARED EXCLUDE_FROM_ALL ${winsim_sources})
winsim_library(watched_winsim 40)
watched(watched_winsim)
# Compiled in two thirds of the time, and about as fast.
target_compile_options(watched_winsim PRIVATE -Og)
set_target_properties(watched_winsim PROPERTIES OUTPUT_NAME winsim)

image_variant(watched FOLDER ${SANITIZERS_FOLDER} OPTIONS ${WATCHING_OPTIONS} LINK_OPTIONS ${SANITIZERS}
    MACHINE watched_winsim)
set(WATCHED_TARGETS watched_winsim kelo_watched_program kelo_watched_library kelo_watched_test_program)

# A native program from the same objects, linked with the watched libraries. Further arguments: other libraries.
function(watched_executable program)
    add_executable(watched_${program} EXCLUDE_FROM_ALL $<TARGET_OBJECTS:${program}>)
    target_link_libraries(watched_${program} PRIVATE watched_winsim ${ARGN})
    watched(watched_${program})
    set_target_properties(watched_${program} PROPERTIES OUTPUT_NAME ${program} LINKER_LANGUAGE CXX)
    add_dependencies(watched_${program} ${WATCHED_TARGETS})
endfunction()

watched_executable(kelo-rehearse $<TARGET_FILE:report> $<TARGET_FILE:catalogue>)
# The tests of programs that die of signals: the sanitizers have their own handlers for these.
set(DYING_PROGRAMS *EachProcessEnd.*:ProcessEnd.*:KeloRehearse.DeathIsSaidFirstAndHasNoResult)
# The tests that only count what the sweeps try.
set(COUNTS *AsAWhole.*)

# watched_tests(GROUP SHARDS LIBRARY...): a group's native tests in this many parts, which run side by side, and the
# further libraries that they are linked with.
function(watched_tests group shards)
    watched_executable(${group}_tests $<TARGET_FILE:test_support> GTest::gmock GTest::gtest_main ${ARGN})
    add_dependencies(watched_${group}_tests watched_kelo-rehearse)
    math(EXPR last "${shards} - 1")
    foreach(shard RANGE ${last})
        add_test(NAME sanitizers.${group}.${shard} COMMAND ${PROJECT_SOURCE_DIR}/tests/sanitizers/run
            ${SANITIZERS_FOLDER}/${group}_tests --gtest_brief=1 --gtest_filter=-${DYING_PROGRAMS}:${COUNTS})
        set_tests_properties(sanitizers.${group}.${shard} PROPERTIES LABELS sanitizers TIMEOUT 1800 COST 300
            ENVIRONMENT "GTEST_TOTAL_SHARDS=${shards};GTEST_SHARD_INDEX=${shard}")
    endforeach()
endfunction()

watched_tests(unit 2)
watched_tests(scenarios 1)
watched_tests(faults 3 $<TARGET_FILE:report> $<TARGET_FILE:catalogue>)
add_custom_target(sanitizers_tests ALL
    DEPENDS watched_unit_tests watched_scenarios_tests watched_faults_tests)
