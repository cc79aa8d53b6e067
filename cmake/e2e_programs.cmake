# The Windows programs that the end-to-end tests use beside the product: stand-ins for other programs of the toolkit,
# and tools of the tests.

# All that those tests need of this build.
add_custom_target(e2e_programs DEPENDS kelo_images)

# How the sources of all targets here are compiled.
function(e2e_sources target)
    target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR})
    target_compile_options(${target} PRIVATE ${KELO_WARNINGS} -Os)
    target_compile_definitions(${target} PRIVATE WIN32_LEAN_AND_MEAN __USE_MINGW_ANSI_STDIO=0)
endfunction()

# What the programs that are services share. With it the headers are compiled that most sources here include, once for
# all targets.
add_library(service_role OBJECT tests/e2e/standins/service_role.cpp)
e2e_sources(service_role)
target_precompile_headers(service_role PRIVATE <windows.h> <filesystem> <fstream> <string> <vector>)

function(e2e_target target)
    e2e_sources(${target})
    target_precompile_headers(${target} REUSE_FROM service_role)
    target_link_options(${target} PRIVATE -static -s)
    set_target_properties(${target} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR})
    add_dependencies(e2e_programs ${target})
endfunction()

function(e2e_program name)
    # Without a console: Wine would start a program for each.
    add_executable(${name} WIN32 ${ARGN})
    e2e_target(${name})
    target_link_options(${name} PRIVATE -municode)
endfunction()

# A library of which only the exports that it names can be called.
function(e2e_library name)
    add_library(${name} SHARED ${ARGN})
    e2e_target(${name})
    set_target_properties(${name} PROPERTIES PREFIX "")
endfunction()

e2e_library(CertJobPlanner tests/e2e/standins/cert_job_planner.cpp tests/e2e/standins/thrown.cpp)
e2e_library(exit_witness tests/e2e/standins/exit_witness.cpp)
e2e_library(plain_library tests/e2e/standins/plain_library.cpp tests/e2e/standins/plain_library.rc)
e2e_library(stkprobe tests/e2e/standins/stkprobe.cpp tests/e2e/standins/thrown.cpp src/windows/exception_guard.cpp)
target_include_directories(stkprobe PRIVATE ${PROJECT_SOURCE_DIR}/src)

# A stand-in for a library of Windows' own. Its target has another name than the library: what the product links with
# is Windows' import library. Its place in the build keeps it away from the programs there.
function(e2e_system_library name)
    e2e_library(standin_${name} ${ARGN} tests/e2e/standins/noted_calls.cpp)
    # COM's interfaces have no virtual destructors.
    target_compile_options(standin_${name} PRIVATE -Wno-non-virtual-dtor)
    set_target_properties(standin_${name} PROPERTIES OUTPUT_NAME ${name} RUNTIME_OUTPUT_DIRECTORY
        ${CMAKE_BINARY_DIR}/standins)
endfunction()

e2e_system_library(bcrypt tests/e2e/standins/bcrypt.cpp)
e2e_system_library(wbem_locator tests/e2e/standins/wbem_locator.cpp)
target_link_libraries(standin_wbem_locator PRIVATE ole32 uuid)
e2e_system_library(winscard tests/e2e/standins/winscard.cpp)
e2e_program(described_program tests/e2e/standins/described_program.cpp)
target_link_libraries(described_program PRIVATE service_role)
e2e_program(service_program tests/e2e/standins/service_program.cpp)
target_link_libraries(service_program PRIVATE service_role)
e2e_program(access_list tests/e2e/tools/access_list.cpp)
e2e_program(delayed_calls tests/e2e/tools/delayed_calls.cpp image/delayed_call.cpp)
e2e_program(export_host tests/e2e/tools/export_host.cpp)
target_link_libraries(export_host PRIVATE msi)
e2e_program(sleeper tests/e2e/standins/sleeper.cpp)
e2e_program(machine_tool tests/e2e/tools/machine_tool.cpp)
target_link_libraries(machine_tool PRIVATE psapi)
e2e_program(event_text tests/e2e/tools/event_text.cpp)
e2e_program(thrown_in_image tests/e2e/tools/thrown_in_image.cpp)
target_link_libraries(thrown_in_image PRIVATE kelo_runtime)

# The program's single functions.
file(GLOB TEST_CALL_SOURCES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tests/unit/calls/*.cpp)
e2e_program(kelo_calls tests/e2e/tools/kelo_calls.cpp tests/support/test_text_windows.cpp ${KELO_PROGRAM_SOURCE}
    ${TEST_CALL_SOURCES})
target_link_libraries(kelo_calls PRIVATE kelo_objects ${KELO_WINDOWS_LIBRARIES})
