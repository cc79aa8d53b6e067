# The conformance tests of winsim: the same sources natively, against the simulated machine, and for Windows, to run
# under Wine.

file(GLOB CONFORMANCE_SOURCES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tests/winsim/*.cpp)

function(conformance_for_windows)
    # Debian provides the test framework for Windows as sources, in the package googletest.
    set(googletest /usr/src/googletest/googletest)
    if(NOT EXISTS ${googletest})
        message(STATUS "no ${googletest} (package googletest): the conformance tests are left out")
        return()
    endif()
    add_library(gtest_for_windows STATIC ${googletest}/src/gtest-all.cc)
    target_include_directories(gtest_for_windows SYSTEM PUBLIC ${googletest}/include PRIVATE ${googletest})

    add_executable(winsim_conformance ${CONFORMANCE_SOURCES} tests/winsim/windows/faults.cpp
        tests/winsim/windows/is_on_wine.cpp tests/winsim/windows/main.cpp
        tests/winsim/windows/written_events_test.cpp)
    target_include_directories(winsim_conformance PRIVATE ${PROJECT_SOURCE_DIR})
    target_precompile_headers(winsim_conformance PRIVATE <gtest/gtest.h> <windows.h>)
    target_compile_definitions(winsim_conformance PRIVATE WIN32_LEAN_AND_MEAN __USE_MINGW_ANSI_STDIO=0)
    target_compile_options(winsim_conformance PRIVATE ${KELO_WARNINGS})
    set_target_properties(winsim_conformance PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 8)
    target_link_libraries(winsim_conformance PRIVATE gtest_for_windows kelo_tick_count shell32 advapi32 ole32
        oleaut32 psapi version winscard msi)
    target_link_options(winsim_conformance PRIVATE -static -s)
    # One of its tests loads texts; others control services and start programs.
    add_dependencies(winsim_conformance Internationalization_en described_program service_program machine_tool sleeper)
endfunction()

function(conformance_on_winsim)
    add_library(winsim_conformance MODULE ${CONFORMANCE_SOURCES} tests/winsim/host/faults.cpp
        tests/winsim/host/is_on_wine.cpp)
    target_include_directories(winsim_conformance PRIVATE ${PROJECT_SOURCE_DIR})
    winsim_program(winsim_conformance)
    set_target_properties(winsim_conformance PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 8)
    target_compile_options(winsim_conformance PRIVATE
        "SHELL:-include ${PROJECT_SOURCE_DIR}/tests/winsim/host/narrow_streams.h")
    # The test framework is the host's, found when the module is loaded.
    target_link_options(winsim_conformance PRIVATE -Wl,-z,undefs)

    add_executable(winsim_tests tests/winsim/host/main.cpp)
    target_compile_options(winsim_tests PRIVATE ${KELO_WARNINGS})
    target_compile_definitions(winsim_tests PRIVATE
        CONFORMANCE_MACHINE="${PROJECT_SOURCE_DIR}/tests/winsim/machine.json")
    target_link_libraries(winsim_tests PRIVATE winsim GTest::gtest)
    set_target_properties(winsim_tests PROPERTIES ENABLE_EXPORTS ON)
    add_dependencies(winsim_tests winsim_conformance)
    run_in_shares(winsim 2)

    find_program(WINE wine)
    if(WINE)
        add_test(NAME winsim.under_wine COMMAND ${KELO_PYTHON} -B ${PROJECT_SOURCE_DIR}/tests/winsim/run_under_wine.py
            winsim_conformance.exe --gtest_brief=1)
        set_tests_properties(winsim.under_wine PROPERTIES LABELS winsim TIMEOUT 300 ENVIRONMENT "${KELO_BUILDS}")
    endif()
endfunction()

if(WIN32)
    conformance_for_windows()
else()
    conformance_on_winsim()
endif()
