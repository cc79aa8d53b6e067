# The Windows programs that the end-to-end tests use besides the product: stand-ins for other programs and libraries,
# and tools of the tests.

set(E2E_FOLDER ${PROJECT_SOURCE_DIR}/tests/e2e)

# Everything that these tests need from this build.
add_custom_target(e2e_programs DEPENDS kelo_images kelo_describe)

# The names that stand-ins and tests share.
set(STANDIN_NAMES ${CMAKE_CURRENT_BINARY_DIR}/standin_names.h)
add_custom_command(OUTPUT ${STANDIN_NAMES}
    COMMAND Python3::Interpreter -B -m standins.names ${STANDIN_NAMES}
    WORKING_DIRECTORY ${E2E_FOLDER}
    DEPENDS ${E2E_FOLDER}/standins/names.py ${E2E_FOLDER}/product.py VERBATIM)
add_custom_target(standin_names DEPENDS ${STANDIN_NAMES})

# Compiles a target's sources like those of all other targets here.
function(e2e_sources target)
    target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR} ${CMAKE_CURRENT_BINARY_DIR})
    target_compile_options(${target} PRIVATE ${KELO_WARNINGS} -Os)
    # The older names of psapi.dll's functions, which 5.2 has too.
    target_compile_definitions(${target} PRIVATE WIN32_LEAN_AND_MEAN __USE_MINGW_ANSI_STDIO=0 PSAPI_VERSION=1)
    add_dependencies(${target} standin_names)
endfunction()

# Shared by the programs and libraries; each links only the functions that it calls. The headers that most sources
# include are precompiled here, once for all targets.
add_library(e2e_support STATIC tests/support/test_text_windows.cpp)
foreach(source noted_calls own_files service_role settings thrown)
    target_sources(e2e_support PRIVATE ${E2E_FOLDER}/standins/${source}.cpp)
endforeach()
e2e_sources(e2e_support)
target_precompile_headers(e2e_support PRIVATE <windows.h> <filesystem> <fstream> <string> <vector>)

function(e2e_target target)
    e2e_sources(${target})
    target_precompile_headers(${target} REUSE_FROM e2e_support)
    target_link_libraries(${target} PRIVATE e2e_support kelo_tick_count)
    target_link_options(${target} PRIVATE -static -s)
    set_target_properties(${target} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR})
    add_dependencies(e2e_programs ${target})
endfunction()

function(e2e_program name)
    # Without a console: Wine would start a separate program for each one.
    add_executable(${name} WIN32 ${ARGN})
    e2e_target(${name})
    target_link_options(${name} PRIVATE -municode)
endfunction()

function(e2e_library name)
    add_library(${name} SHARED ${ARGN})
    e2e_target(${name})
    set_target_properties(${name} PROPERTIES PREFIX "")
endfunction()

# ---- Stand-ins ------------------------------------------------------------------------------------------------------

e2e_library(CertJobPlanner ${E2E_FOLDER}/standins/cert_job_planner.cpp)
e2e_library(exit_witness ${E2E_FOLDER}/standins/exit_witness.cpp)
e2e_library(plain_library ${E2E_FOLDER}/standins/plain_library.cpp ${E2E_FOLDER}/standins/plain_library.rc)
e2e_library(stkprobe ${E2E_FOLDER}/standins/stkprobe.cpp src/windows/exception_guard.cpp)
target_include_directories(stkprobe PRIVATE ${PROJECT_SOURCE_DIR}/src)

# A stand-in for a library of Windows' own. Its target has a different name from the library, because the product links
# with Windows' import library of that name. A separate folder keeps it away from the programs.
function(e2e_system_library name)
    e2e_library(standin_${name} ${E2E_FOLDER}/standins/${name}.cpp)
    # COM's interfaces have no virtual destructors.
    target_compile_options(standin_${name} PRIVATE -Wno-non-virtual-dtor)
    set_target_properties(standin_${name} PROPERTIES OUTPUT_NAME ${name} RUNTIME_OUTPUT_DIRECTORY
        ${CMAKE_BINARY_DIR}/standins)
endfunction()

e2e_system_library(bcrypt)
e2e_system_library(wbem_locator)
target_link_libraries(standin_wbem_locator PRIVATE ole32 uuid)
e2e_system_library(winscard)

foreach(program described_program service_program sleeper)
    e2e_program(${program} ${E2E_FOLDER}/standins/${program}.cpp)
endforeach()

# ---- Tools ----------------------------------------------------------------------------------------------------------

e2e_program(delayed_calls ${E2E_FOLDER}/tools/delayed_calls.cpp image/delayed_call.cpp)
e2e_program(event_text ${E2E_FOLDER}/tools/event_text.cpp)
e2e_program(export_host ${E2E_FOLDER}/tools/export_host.cpp)
target_link_libraries(export_host PRIVATE msi)
file(GLOB MACHINE_TOOL_SOURCES CONFIGURE_DEPENDS ${E2E_FOLDER}/tools/machine_tool/*.cpp)
e2e_program(machine_tool ${MACHINE_TOOL_SOURCES})
target_link_libraries(machine_tool PRIVATE psapi)
e2e_program(thrown_in_image ${E2E_FOLDER}/tools/thrown_in_image.cpp)
target_link_libraries(thrown_in_image PRIVATE kelo_runtime)

# The program's single functions.
file(GLOB TEST_CALL_SOURCES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tests/unit/calls/*.cpp)
e2e_program(kelo_calls ${E2E_FOLDER}/tools/kelo_calls.cpp ${KELO_PROGRAM_SOURCE} ${TEST_CALL_SOURCES})
target_link_libraries(kelo_calls PRIVATE kelo_objects ${KELO_WINDOWS_LIBRARIES})
