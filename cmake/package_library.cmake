# The installer package's own files besides the program: the library of its actions, and the texts of the event source.

# Linked statically except for Windows' own libraries, at a random address, without executable data; the same sources
# give the same bytes. Without the C++ library: no exceptions, no text of unbounded length.
kelo_version_resource(kelo_package KeloPackage.dll "Kelo Toolkit installer package actions" VFT_DLL "")
file(GLOB KELO_PACKAGE_SOURCES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/packaging/library/*.cpp)
add_library(kelo_package SHARED ${KELO_PACKAGE_SOURCES} image/delayed_call.cpp image/package_calls.cpp
    ${CMAKE_CURRENT_BINARY_DIR}/kelo_package.rc)
target_compile_definitions(kelo_package PRIVATE WIN32_LEAN_AND_MEAN __USE_MINGW_ANSI_STDIO=0 _WIN32_WINNT=0x0502)
target_compile_options(kelo_package PRIVATE
    $<$<COMPILE_LANGUAGE:CXX>:${KELO_WARNINGS} -Os -fno-exceptions -fno-rtti -ffunction-sections
    -ffile-prefix-map=${PROJECT_SOURCE_DIR}=.>)
target_link_libraries(kelo_package PRIVATE shell32 advapi32)
target_link_options(kelo_package PRIVATE -static -s -Wl,--gc-sections -Wl,--dynamicbase -Wl,--nxcompat
    -Wl,--high-entropy-va -Wl,--no-insert-timestamp)
set_target_properties(kelo_package PROPERTIES OUTPUT_NAME KeloPackage PREFIX "" RUNTIME_OUTPUT_DIRECTORY
    ${CMAKE_BINARY_DIR})
kelo_load_configuration(kelo_package)
add_dependencies(kelo_images kelo_package)

# The texts of the event-log entries, as a message table in a file without code: the event log may keep it open while
# the program is replaced.
set(KELO_EVENT_MESSAGES ${CMAKE_CURRENT_BINARY_DIR}/event_messages.rc)
add_custom_command(OUTPUT ${KELO_EVENT_MESSAGES}
    COMMAND x86_64-w64-mingw32-windmc -h ${CMAKE_CURRENT_BINARY_DIR} -r ${CMAKE_CURRENT_BINARY_DIR}
        ${PROJECT_SOURCE_DIR}/resources/event_messages.mc
    DEPENDS ${PROJECT_SOURCE_DIR}/resources/event_messages.mc)
kelo_version_resource(KeloEventMessages KeloEventMessages.dll "Kelo Toolkit event messages" VFT_DLL "")
kelo_resource_library(KeloEventMessages ${KELO_EVENT_MESSAGES} ${CMAKE_CURRENT_BINARY_DIR}/KeloEventMessages.rc)
