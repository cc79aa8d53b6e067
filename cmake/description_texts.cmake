# Files of the project that the code of machine descriptions has built in, as sources: KELO_DESCRIPTION_TEXTS.

set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/winsim/plain_windows_10.json)
file(READ ${PROJECT_SOURCE_DIR}/winsim/plain_windows_10.json PLAIN_WINDOWS_JSON)
configure_file(winsim/machine/plain_windows.cpp.in ${CMAKE_CURRENT_BINARY_DIR}/plain_windows.cpp @ONLY)

# The program's texts, so that a simulated resource library contains the same texts as the real one.
file(GLOB KELO_STRING_TABLES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/resources/strings/*.txt)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${KELO_STRING_TABLES})
set(KELO_STRING_TABLE_TEXTS "")
foreach(table ${KELO_STRING_TABLES})
    cmake_path(GET table STEM name)
    file(READ ${table} lines)
    string(APPEND KELO_STRING_TABLE_TEXTS "{\"${name}\", R\"table(${lines})table\"},\n")
endforeach()
configure_file(winsim/toolkit/string_table_texts.cpp.in ${CMAKE_CURRENT_BINARY_DIR}/string_table_texts.cpp @ONLY)
set(KELO_DESCRIPTION_TEXTS ${CMAKE_CURRENT_BINARY_DIR}/plain_windows.cpp
    ${CMAKE_CURRENT_BINARY_DIR}/string_table_texts.cpp)
