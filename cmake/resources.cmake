# The libraries with the program's texts: one for each table in resources/strings, named after it.

# A library of resources only: no code, no entry point, no imports.
function(kelo_resource_library name)
    add_library(${name} MODULE ${ARGN})
    target_link_options(${name} PRIVATE -nostdlib -s -Wl,--entry=0 -Wl,--dynamicbase -Wl,--nxcompat
        -Wl,--no-insert-timestamp)
    set_target_properties(${name} PROPERTIES LINKER_LANGUAGE C PREFIX "" LIBRARY_OUTPUT_DIRECTORY
        ${CMAKE_BINARY_DIR})
    add_dependencies(kelo_images ${name})
endfunction()

function(kelo_string_library table)
    cmake_path(GET table STEM language)
    set(name Internationalization_${language})
    set(script ${CMAKE_CURRENT_BINARY_DIR}/${name}.rc)
    set(generator ${PROJECT_SOURCE_DIR}/resources/make_string_table.py)
    add_custom_command(OUTPUT ${script}
        COMMAND Python3::Interpreter ${generator} ${table} ${script}
        DEPENDS ${generator} ${table}
        VERBATIM)
    kelo_resource_library(${name} ${script})
endfunction()

file(GLOB KELO_STRING_TABLES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/resources/strings/*.txt)
foreach(table ${KELO_STRING_TABLES})
    kelo_string_library(${table})
    cmake_path(GET table STEM language)
    list(APPEND KELO_STRING_LIBRARIES Internationalization_${language})
endforeach()
