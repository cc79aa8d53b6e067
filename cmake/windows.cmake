# The two images of the program for Windows, built from the same objects; one more object says which of the two it is.

# Only the images contain these sources: they load libraries at the first call.
set(KELO_IMAGE_SOURCES image/delayed_call.cpp image/library_by_name.cpp image/program_calls.cpp)
add_library(kelo_objects OBJECT ${KELO_SOURCES} ${KELO_IMAGE_SOURCES})
target_include_directories(kelo_objects PUBLIC ${PROJECT_SOURCE_DIR}/src)
# The host's build of the same sources has no precompiled headers and so detects a missing include. <stdio.h> comes
# first: after a C++ header it would replace Windows' printf.
target_precompile_headers(kelo_objects PRIVATE <stdio.h> <windows.h> <shlobj.h> <optional> <string> <vector>)
# The C runtime is Windows' own msvcrt.dll, with its own printf.
# 5.2 is the oldest 64-bit Windows: the headers declare only its functions.
target_compile_definitions(kelo_objects PUBLIC WIN32_LEAN_AND_MEAN __USE_MINGW_ANSI_STDIO=0 PRIVATE _WIN32_WINNT=0x0502)
target_compile_options(kelo_objects PRIVATE ${KELO_WARNINGS} -Os -ffunction-sections -fdata-sections
    -ffile-prefix-map=${PROJECT_SOURCE_DIR}=.)

find_package(Python3 REQUIRED COMPONENTS Interpreter)

# Makes Windows take an image's imports from the system folder; older versions ignore it.
function(kelo_load_configuration target)
    set(script ${PROJECT_SOURCE_DIR}/image/set_load_configuration.py)
    target_sources(${target} PRIVATE ${PROJECT_SOURCE_DIR}/image/load_configuration.cpp)
    # No object refers to this symbol, so the linker would leave it out.
    target_link_options(${target} PRIVATE -Wl,--undefined=_load_config_used)
    add_custom_command(TARGET ${target} POST_BUILD COMMAND Python3::Interpreter ${script} $<TARGET_FILE:${target}> VERBATIM)
    set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${script})
endfunction()

# Replaces parts of the toolchain's C++ runtime in the images.
add_library(kelo_runtime OBJECT image/runtime/exceptions.cpp image/runtime/threads.cpp)
target_compile_options(kelo_runtime PRIVATE ${KELO_WARNINGS} -Os -ffunction-sections -fdata-sections
    -ffile-prefix-map=${PROJECT_SOURCE_DIR}=.)

# Lets Windows 5.2 load programs that keep the toolchain's threads.
add_library(kelo_tick_count OBJECT image/runtime/tick_count.cpp)
target_compile_definitions(kelo_tick_count PRIVATE _WIN32_WINNT=0x0502)
target_compile_options(kelo_tick_count PRIVATE ${KELO_WARNINGS} -ffile-prefix-map=${PROJECT_SOURCE_DIR}=.)

# All shipped files: the images and the libraries of their texts.
add_custom_target(kelo_images)

# Writes an image's version information to TARGET.rc in the build's folder, with a line for its manifest if there is
# one.
function(kelo_version_resource target file description type manifest)
    cmake_path(GET file STEM LAST_ONLY name)
    set(KELO_IMAGE_NAME ${name})
    set(KELO_IMAGE_FILE ${file})
    set(KELO_IMAGE_DESCRIPTION ${description})
    set(KELO_IMAGE_TYPE ${type})
    set(KELO_IMAGE_MANIFEST "${manifest}")
    configure_file(${PROJECT_SOURCE_DIR}/resources/version.rc.in ${CMAKE_CURRENT_BINARY_DIR}/${target}.rc @ONLY)
endfunction()

# An image of the program: linked statically except for Windows' own libraries, at a random 64-bit address (ASLR),
# without executable data (NX); the same sources give the same bytes.
function(kelo_image target name description type)
    set(manifest "")
    if(type STREQUAL "VFT_APP")
        set(manifest "1 RT_MANIFEST \"${PROJECT_SOURCE_DIR}/resources/kelo_custom_action.manifest\"")
    endif()
    kelo_version_resource(${target} ${name}${ARGV4} ${description} ${type} "${manifest}")
    target_sources(${target} PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/${target}.rc)
    target_compile_options(${target} PRIVATE ${KELO_WARNINGS} -Os)
    target_link_libraries(${target} PRIVATE kelo_objects kelo_runtime ${KELO_WINDOWS_LIBRARIES})
    target_link_options(${target} PRIVATE -static -s -Wl,--gc-sections -Wl,--dynamicbase -Wl,--nxcompat
        -Wl,--high-entropy-va -Wl,--no-insert-timestamp
        # The runtime's handler of unhandled exceptions prints their names and so would need a complete demangler.
        -Wl,--defsym=_ZN9__gnu_cxx27__verbose_terminate_handlerEv=abort)
    set_target_properties(${target} PROPERTIES OUTPUT_NAME ${name} PREFIX "" RUNTIME_OUTPUT_DIRECTORY
        ${CMAKE_BINARY_DIR})
    kelo_load_configuration(${target})
    add_dependencies(kelo_images ${target})
endfunction()

# Libraries that every Windows takes from the system folder, never from the program's, and names of interfaces.
set(KELO_WINDOWS_LIBRARIES shell32 advapi32 wbemuuid)

add_executable(kelo_exe WIN32 ${KELO_PROGRAM_SOURCE})
kelo_image(kelo_exe KeloCustomAction "Kelo Toolkit installer custom action" VFT_APP .exe)
add_library(kelo_dll SHARED ${KELO_LIBRARY_SOURCE})
kelo_image(kelo_dll KeloCustomAction "Kelo Toolkit installer custom action library" VFT_DLL .dll)

include(cmake/resources.cmake)
include(cmake/package_library.cmake)
include(cmake/describe.cmake)
include(cmake/conformance.cmake)
include(cmake/windows_bench.cmake)
include(cmake/e2e_programs.cmake)
include(cmake/sample_package.cmake)
include(cmake/proof_kit.cmake)
