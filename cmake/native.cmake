# The simulated machine, kelo-rehearse and the native tests.

find_package(nlohmann_json REQUIRED)
find_package(CLI11 REQUIRED)
find_package(fmt REQUIRED)
find_package(GTest REQUIRED)
enable_testing()

# GCC 12 reports overflows in the standard library's own moves of short texts where there are none: these three warnings
# do not fail the build. The sanitizers look for real overflows.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    list(APPEND KELO_WARNINGS -Wno-error=array-bounds -Wno-error=restrict -Wno-error=stringop-overflow)
endif()

# ---- winsim: the machine and its Windows functions ----------------------------------------------------------------

include(cmake/description_texts.cmake)

set(WINSIM_SOURCES "")
foreach(room base machine process api toolkit)
    file(GLOB sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/winsim/${room}/*.cpp)
    list(APPEND WINSIM_SOURCES ${sources})
endforeach()
# Exceptions must not be able to pass through this source.
set_source_files_properties(winsim/process/stack_bottom.cpp PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON
    SKIP_PRECOMPILE_HEADERS ON
    COMPILE_OPTIONS "-fno-exceptions;-fno-unwind-tables;-fno-asynchronous-unwind-tables;-fno-optimize-sibling-calls")
# winsim_library(TARGET SOURCES-AT-ONCE): makes a target a library with the simulated machine. No two of its sources
# declare the same name.
function(winsim_library target sources_at_once)
    target_include_directories(${target} PUBLIC ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/winsim/include)
    target_compile_definitions(${target} PUBLIC WINSIM_HOST)
    # It uses its own instances of templates: the loader would take a test's instances, which are not optimised.
    target_compile_options(${target} PRIVATE -fvisibility-inlines-hidden ${KELO_WARNINGS})
    target_link_libraries(${target} PUBLIC nlohmann_json::nlohmann_json fmt::fmt)
    target_precompile_headers(${target} PRIVATE winsim/base/json.h)
    # Most of the compile time goes into templates of the same headers: compiling many sources at once saves a third.
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE ${sources_at_once})
endfunction()

add_library(winsim SHARED ${WINSIM_SOURCES} ${KELO_DESCRIPTION_TEXTS})
# A change of one source is compiled sooner with fewer at once.
winsim_library(winsim 20)

# Prints what KeloDescribe reads.
add_executable(describe_names describe/tools/print_names.cpp describe/asked.cpp describe/captured_fields.cpp)
target_compile_options(describe_names PRIVATE ${KELO_WARNINGS})
target_link_libraries(describe_names PRIVATE winsim)

# Prints the schema of machine descriptions.
add_executable(machine_schema winsim/tools/print_machine_schema.cpp)
target_compile_options(machine_schema PRIVATE ${KELO_WARNINGS})
target_link_libraries(machine_schema PRIVATE winsim)

# ---- Programs for the simulated machine ---------------------------------------------------------------------------

# The functions that the images export besides their entry points.
set(WINSIM_PROGRAM_EXPORTS SRK_Auth_Change)
set(WINSIM_PROGRAM_MAP ${CMAKE_CURRENT_BINARY_DIR}/program.map)
configure_file(winsim/crt/program.map.in ${WINSIM_PROGRAM_MAP} @ONLY)

# Their wide characters have 16 bits. The templates in the host's standard library were compiled for wider ones, so a
# program instantiates its own and exports only its entry points.
set(WINSIM_PROGRAM_OPTIONS -fshort-wchar -fPIC -fno-builtin-printf -fno-builtin-fputs -U_FORTIFY_SOURCE)
add_library(winsim_runtime OBJECT winsim/crt/memory.cpp winsim/crt/runtime.cpp)
target_include_directories(winsim_runtime PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/winsim/include)
target_compile_options(winsim_runtime PRIVATE ${WINSIM_PROGRAM_OPTIONS} -fno-builtin ${KELO_WARNINGS})

# winsim_program(TARGET [WINSIM]): makes a target a program, or part of one, that runs on a library's simulated machine.
function(winsim_program target)
    set(machine winsim ${ARGN})
    list(GET machine -1 machine)
    target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR}/winsim/include)
    # With assertions, reading an empty optional or a place outside a text ends the program.
    target_compile_definitions(${target} PRIVATE _GLIBCXX_EXTERN_TEMPLATE=0 _GLIBCXX_ASSERTIONS)
    target_compile_options(${target} PRIVATE ${WINSIM_PROGRAM_OPTIONS} ${KELO_WARNINGS})
    get_target_property(type ${target} TYPE)
    if(type STREQUAL "MODULE_LIBRARY")
        # Linked by its file: the requirements that winsim passes on to its users do not apply to a program.
        target_link_libraries(${target} PRIVATE $<TARGET_OBJECTS:winsim_runtime> $<TARGET_FILE:${machine}>)
        target_link_options(${target} PRIVATE -Wl,-z,defs -Wl,--version-script=${WINSIM_PROGRAM_MAP})
        add_dependencies(${target} ${machine})
        set_target_properties(${target} PROPERTIES PREFIX "")
    endif()
endfunction()

add_library(kelo_objects OBJECT ${KELO_SOURCES})
target_include_directories(kelo_objects PUBLIC ${PROJECT_SOURCE_DIR}/src)
winsim_program(kelo_objects)

add_library(kelo_program MODULE ${KELO_PROGRAM_SOURCE})
target_link_libraries(kelo_program PRIVATE kelo_objects)
winsim_program(kelo_program)
set_target_properties(kelo_program PROPERTIES OUTPUT_NAME KeloCustomAction)

# The library whose exports installer packages call.
add_library(kelo_library MODULE ${KELO_LIBRARY_SOURCE})
target_link_libraries(kelo_library PRIVATE kelo_objects)
winsim_program(kelo_library)
set_target_properties(kelo_library PROPERTIES OUTPUT_NAME KeloCustomActionLibrary)

include(cmake/catalogue.cmake)

# ---- kelo-rehearse ------------------------------------------------------------------------------------------------

set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/choices.md)
file(READ ${PROJECT_SOURCE_DIR}/docs/choices.md KELO_CHOICES)
configure_file(rehearse/choices.cpp.in ${CMAKE_CURRENT_BINARY_DIR}/choices.cpp @ONLY)

file(GLOB REHEARSE_SOURCES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/rehearse/*.cpp)
add_executable(kelo-rehearse ${REHEARSE_SOURCES} ${CMAKE_CURRENT_BINARY_DIR}/choices.cpp)
target_compile_options(kelo-rehearse PRIVATE ${KELO_WARNINGS})
target_link_libraries(kelo-rehearse PRIVATE report CLI11::CLI11)
set_target_properties(kelo-rehearse PROPERTIES UNITY_BUILD ON)
add_dependencies(kelo-rehearse kelo_program kelo_library)

# ---- Tests --------------------------------------------------------------------------------------------------------

# The program once more, with an entry through which tests call its single functions.
file(GLOB TEST_CALL_SOURCES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tests/unit/calls/*.cpp)
add_library(kelo_test_program MODULE ${KELO_PROGRAM_SOURCE} ${TEST_CALL_SOURCES} tests/support/test_text_winsim.cpp)
target_link_libraries(kelo_test_program PRIVATE kelo_objects)
target_include_directories(kelo_test_program PRIVATE ${PROJECT_SOURCE_DIR})
winsim_program(kelo_test_program)
set_target_properties(kelo_test_program PROPERTIES OUTPUT_NAME KeloCustomActionTests)

# A program that can end in any way, to test how such an end is handled.
add_library(ending_program MODULE tests/support/ending_program.cpp)
winsim_program(ending_program)

# Compiles the sources of each folder of a group as one, and those of the folders named in one argument, with blanks
# between them: most of the time goes into the templates of the same headers. So no two of these sources declare the same
# name.
function(compile_folders_together target)
    get_target_property(sources ${target} SOURCES)
    foreach(source ${sources})
        cmake_path(GET source PARENT_PATH folder)
        cmake_path(GET folder FILENAME folder)
        set(together ${folder})
        foreach(folders ${ARGN})
            if(" ${folders} " MATCHES " ${folder} ")
                string(REPLACE " " "_" together ${folders})
            endif()
        endforeach()
        set_source_files_properties(${source} PROPERTIES UNITY_GROUP ${together})
    endforeach()
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
endfunction()

add_library(test_support SHARED tests/support/noted_tests.cpp tests/support/script.cpp tests/support/simulated_run.cpp)
target_link_libraries(test_support PUBLIC winsim GTest::gmock GTest::gtest_main)
target_compile_options(test_support PRIVATE -fvisibility-inlines-hidden ${KELO_WARNINGS})

# native_tests(GROUP [OPTIMISED | LIKE other]): a group of native tests, every test source of its folder and the folders
# below. Compiling tests that are not optimised takes far longer than running them; those that are like another group's
# use its precompiled headers.
function(native_tests group)
    cmake_parse_arguments(TESTS OPTIMISED LIKE "" ${ARGN})
    file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tests/${group}/*.cpp)
    # The sources in tests/unit/calls/ belong to the program's image.
    list(FILTER sources EXCLUDE REGEX /calls/)
    add_executable(${group}_tests ${sources})
    target_link_libraries(${group}_tests PRIVATE test_support)
    target_compile_options(${group}_tests PRIVATE ${KELO_WARNINGS} $<$<NOT:$<BOOL:${TESTS_OPTIMISED}>>:-O0>)
    if(TESTS_LIKE)
        target_precompile_headers(${group}_tests REUSE_FROM ${TESTS_LIKE}_tests)
    else()
        target_precompile_headers(${group}_tests PRIVATE <gmock/gmock.h> <gtest/gtest.h> <nlohmann/json.hpp>)
    endif()
    add_dependencies(${group}_tests kelo-rehearse kelo_test_program kelo_library ending_program)
endfunction()

# Runs the tests of a group in shares: they are so short that a process for each would take longer than the tests.
function(run_in_shares group shares)
    math(EXPR last "${shares} - 1")
    foreach(share RANGE ${last})
        add_test(NAME ${group}.${share} COMMAND ${group}_tests --gtest_brief=1)
        # The limit is for tests that were asked to take long.
        set_tests_properties(${group}.${share} PROPERTIES LABELS ${group} TIMEOUT 14400
            ENVIRONMENT "GTEST_TOTAL_SHARDS=${shares};GTEST_SHARD_INDEX=${share}")
    endforeach()
endfunction()

native_tests(unit)
target_sources(unit_tests PRIVATE describe/anonymous_sids.cpp describe/exported_functions.cpp)
add_dependencies(unit_tests describe_names machine_schema)
compile_folders_together(unit_tests "entry enroll log" "smartcard tpm" "platform windows resources" "providers messages"
    "service rehearse")
# It reads like minidriver_test, and uses the same names.
set_source_files_properties(${PROJECT_SOURCE_DIR}/tests/unit/smartcard/virtual_reader_test.cpp PROPERTIES
    SKIP_UNITY_BUILD_INCLUSION ON)
run_in_shares(unit 8)
native_tests(scenarios LIKE unit)
run_in_shares(scenarios 2)
native_tests(faults OPTIMISED)
run_in_shares(faults 8)
target_link_libraries(faults_tests PRIVATE report)
set_target_properties(faults_tests PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 8)
target_compile_definitions(faults_tests PRIVATE KELO_ROOT="${PROJECT_SOURCE_DIR}"
    KELO_REHEARSE="$<TARGET_FILE:kelo-rehearse>")

native_tests(explain LIKE unit)
run_in_shares(explain 4)
target_link_libraries(explain_tests PRIVATE explanation)
set_target_properties(explain_tests PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 8)
add_dependencies(explain_tests kelo-explain)
target_compile_definitions(explain_tests PRIVATE KELO_ROOT="${PROJECT_SOURCE_DIR}")

include(cmake/python_tests.cmake)
include(cmake/image_variant.cmake)
include(cmake/coverage.cmake)
include(cmake/mutants.cmake)
include(cmake/sanitizers.cmake)
include(cmake/fuzz.cmake)
include(cmake/style.cmake)
include(cmake/conformance.cmake)
include(cmake/bench.cmake)

# python_check(NAME SCRIPT ARGUMENT...): a test that is one script in Python, which gets the project's folder and these
# arguments. The name begins with the group's.
function(python_check name script)
    string(REGEX REPLACE "\\..*" "" group ${name})
    add_test(NAME ${name}
        COMMAND ${KELO_PYTHON} -B ${PROJECT_SOURCE_DIR}/tests/${group}/${script} ${PROJECT_SOURCE_DIR} ${ARGN})
    set_tests_properties(${name} PROPERTIES LABELS ${group} ENVIRONMENT "${KELO_BUILDS}")
endfunction()

# The described machines, their schema and their document; what the first comment of each of them promises.
python_check(unit.machine_schema winsim/machine_schema_test.py $<TARGET_FILE:machine_schema>)
python_check(scenarios.machines machines_test.py)
# What KeloDescribe reads.
python_check(unit.describe describe/describe_test.py $<TARGET_FILE:describe_names>)
# What the proof kit proves.
python_check(unit.proof proof/rows_test.py)
# The output of kelo-rehearse, and the command lines in help texts and documents.
python_check(unit.reports rehearse/reports_test.py)
python_check(unit.commands commands_test.py)

# Tests under Wine wait much of their time; all others keep a processor busy. ./test starts four tests for each processor
# at most, and one of the others counts as three: so both kinds run side by side.
get_property(busy_tests DIRECTORY PROPERTY TESTS)
list(FILTER busy_tests EXCLUDE REGEX "^e2e[.]")
set_tests_properties(${busy_tests} PROPERTIES PROCESSORS 3)
