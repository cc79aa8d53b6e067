# The Windows programs that the end-to-end tests use beside the product: stand-ins for other programs of the toolkit,
# and tools of the tests.

function(e2e_program name)
    add_executable(${name} ${ARGN})
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR})
    target_compile_options(${name} PRIVATE ${KELO_WARNINGS} -Os)
    target_compile_definitions(${name} PRIVATE WIN32_LEAN_AND_MEAN __USE_MINGW_ANSI_STDIO=0)
    target_link_options(${name} PRIVATE -municode -static -s)
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR})
endfunction()

# A library of which only the exports that it names can be called.
function(e2e_library name)
    add_library(${name} SHARED ${ARGN})
    target_compile_options(${name} PRIVATE ${KELO_WARNINGS} -Os)
    target_compile_definitions(${name} PRIVATE WIN32_LEAN_AND_MEAN __USE_MINGW_ANSI_STDIO=0)
    target_link_options(${name} PRIVATE -static -s)
    set_target_properties(${name} PROPERTIES PREFIX "" RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR})
endfunction()

e2e_library(CertJobPlanner tests/e2e/standins/cert_job_planner.cpp)
e2e_program(described_program tests/e2e/standins/described_program.cpp)
e2e_program(service_program tests/e2e/standins/service_program.cpp)
e2e_program(export_host tests/e2e/tools/export_host.cpp)
target_link_libraries(export_host PRIVATE msi)
e2e_program(sleeper tests/e2e/standins/sleeper.cpp)
e2e_program(service_tool tests/e2e/tools/service_tool.cpp)

# The program's single functions.
file(GLOB TEST_CALL_SOURCES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tests/unit/calls/*.cpp)
e2e_program(kelo_calls tests/e2e/tools/kelo_calls.cpp tests/support/test_text_windows.cpp ${TEST_CALL_SOURCES})
target_link_libraries(kelo_calls PRIVATE kelo_objects ${KELO_WINDOWS_LIBRARIES})
