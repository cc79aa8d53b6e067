# The catalogue of the log's texts, and the tools that show a run.

file(GLOB CATALOGUE_SOURCES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/catalogue/*.cpp)
add_library(catalogue STATIC ${CATALOGUE_SOURCES})
target_include_directories(catalogue PUBLIC ${PROJECT_SOURCE_DIR})
target_compile_options(catalogue PRIVATE ${KELO_WARNINGS})

# How the tools show a run, on a terminal and in a browser.
set(REPORT_PARTS head.html style.css script.html) # what the pages have in common
foreach(page page heat_map)
    file(READ ${PROJECT_SOURCE_DIR}/report/${page}.html "REPORT_${page}")
    foreach(part ${REPORT_PARTS})
        cmake_path(GET part STEM name)
        string(TOUPPER ${name} name)
        file(READ ${PROJECT_SOURCE_DIR}/report/${part} text)
        string(REPLACE "@${name}@\n" "${text}" "REPORT_${page}" "${REPORT_${page}}")
    endforeach()
endforeach()
list(TRANSFORM REPORT_PARTS PREPEND ${PROJECT_SOURCE_DIR}/report/)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${REPORT_PARTS} ${PROJECT_SOURCE_DIR}/report/page.html
    ${PROJECT_SOURCE_DIR}/report/heat_map.html)
configure_file(report/page_text.cpp.in ${CMAKE_CURRENT_BINARY_DIR}/page_text.cpp @ONLY)
file(GLOB REPORT_SOURCES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/report/*.cpp)
add_library(report STATIC ${REPORT_SOURCES} ${CMAKE_CURRENT_BINARY_DIR}/page_text.cpp)
target_compile_options(report PRIVATE ${KELO_WARNINGS})
target_link_libraries(report PUBLIC catalogue winsim)
set_target_properties(report PROPERTIES UNITY_BUILD ON)

# ---- kelo-explain -------------------------------------------------------------------------------------------------

file(GLOB EXPLAIN_SOURCES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/explain/*.cpp)
list(REMOVE_ITEM EXPLAIN_SOURCES ${PROJECT_SOURCE_DIR}/explain/main.cpp)
add_library(explanation STATIC ${EXPLAIN_SOURCES})
target_compile_options(explanation PRIVATE ${KELO_WARNINGS})
target_link_libraries(explanation PUBLIC report PRIVATE CLI11::CLI11)
set_target_properties(explanation PROPERTIES UNITY_BUILD ON)
add_executable(kelo-explain explain/main.cpp)
target_compile_options(kelo-explain PRIVATE ${KELO_WARNINGS})
target_link_libraries(kelo-explain PRIVATE explanation)
# It rehearses to find a cause.
add_dependencies(kelo-explain kelo_program kelo_library)
