# KeloDescribe.exe, which reads a machine and writes its description: one file, linked statically. It contains the code
# of machine descriptions.

include(cmake/description_texts.cmake)

# Libraries that are only headers. They are the host's: links to their folders keep its other headers out.
set(DESCRIBE_HEADERS ${CMAKE_CURRENT_BINARY_DIR}/host_headers)
file(MAKE_DIRECTORY ${DESCRIBE_HEADERS})
foreach(library CLI fmt nlohmann)
    if(NOT EXISTS /usr/include/${library})
        message(FATAL_ERROR "no /usr/include/${library}: run scripts/packages.sh, or install the packages it names")
    endif()
    file(CREATE_LINK /usr/include/${library} ${DESCRIBE_HEADERS}/${library} SYMBOLIC)
endforeach()

# The same manifest as the program's, so that Windows tells it the same version, but without the demand for an
# administrator.
file(READ ${PROJECT_SOURCE_DIR}/resources/kelo_custom_action.manifest manifest)
string(REPLACE "requireAdministrator" "asInvoker" manifest "${manifest}")
string(REPLACE "Kelo.CustomAction" "Kelo.Describe" manifest "${manifest}")
string(REPLACE "Kelo Toolkit installer custom action" "Describes a machine" manifest "${manifest}")
file(CONFIGURE OUTPUT describe.manifest CONTENT "${manifest}" @ONLY)
kelo_version_resource(kelo_describe KeloDescribe.exe "Kelo Toolkit description of a machine" VFT_APP
    "1 RT_MANIFEST \"${CMAKE_CURRENT_BINARY_DIR}/describe.manifest\"")

file(GLOB DESCRIBE_SOURCES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/describe/*.cpp)
file(GLOB DESCRIPTION_SOURCES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/winsim/base/*.cpp
    ${PROJECT_SOURCE_DIR}/winsim/machine/*.cpp)
# Windows itself converts text (describe/windows_text.cpp).
list(FILTER DESCRIPTION_SOURCES EXCLUDE REGEX "/(best_fits|code_page|letter_case)\\.cpp$")
add_executable(kelo_describe ${DESCRIBE_SOURCES} ${DESCRIPTION_SOURCES} ${KELO_DESCRIPTION_TEXTS}
    winsim/toolkit/program_path.cpp winsim/toolkit/string_tables.cpp src/windows/com_initializer.cpp
    src/windows/exception_guard.cpp ${CMAKE_CURRENT_BINARY_DIR}/kelo_describe.rc)
target_include_directories(kelo_describe PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/src)
target_include_directories(kelo_describe SYSTEM PRIVATE ${DESCRIBE_HEADERS})
target_compile_definitions(kelo_describe PRIVATE FMT_HEADER_ONLY NOMINMAX WIN32_LEAN_AND_MEAN _WIN32_WINNT=0x0600)
target_compile_options(kelo_describe PRIVATE $<$<COMPILE_LANGUAGE:CXX>:${KELO_WARNINGS} -Os -ffunction-sections
    -fdata-sections -Wno-error=array-bounds -Wno-error=restrict -Wno-error=stringop-overflow
    -ffile-prefix-map=${PROJECT_SOURCE_DIR}=.>)
# Most of the compile time goes into this header, which most sources include.
target_precompile_headers(kelo_describe PRIVATE winsim/base/json.h)
# Compiling several sources at once makes the build faster still.
set_target_properties(kelo_describe PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 24)
target_link_libraries(kelo_describe PRIVATE kelo_tick_count shell32 advapi32 ole32 oleaut32 wbemuuid psapi version winscard)
target_link_options(kelo_describe PRIVATE -static -s -Wl,--gc-sections -Wl,--dynamicbase -Wl,--nxcompat
    -Wl,--high-entropy-va -Wl,--no-insert-timestamp)
set_target_properties(kelo_describe PROPERTIES OUTPUT_NAME KeloDescribe RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR})
