# The program's images once more, compiled in another way, for tests that examine how they run.

# Half of the compile time goes into these headers, so they are precompiled.
set(KELO_VARIANT_HEADERS <windows.h> <shlobj.h> <aclapi.h> <cstdio> <memory> <optional> <string> <vector>)

# image_variant(KIND FOLDER folder OPTIONS option... [LINK_OPTIONS option...] [LIBRARIES library...] [MACHINE winsim]):
# makes kelo_KIND_program, kelo_KIND_library and kelo_KIND_test_program from kelo_KIND_objects, in a folder, with the
# file names of the original images. They run on the simulated machine of a library, usually winsim's.
function(image_variant kind)
    cmake_parse_arguments(VARIANT "" "FOLDER;MACHINE" "OPTIONS;LINK_OPTIONS;LIBRARIES" ${ARGN})
    set(objects kelo_${kind}_objects)
    add_library(${objects} OBJECT EXCLUDE_FROM_ALL ${KELO_SOURCES})
    target_include_directories(${objects} PUBLIC ${PROJECT_SOURCE_DIR}/src)
    winsim_program(${objects})
    target_compile_options(${objects} PRIVATE ${VARIANT_OPTIONS})
    target_precompile_headers(${objects} PRIVATE ${KELO_VARIANT_HEADERS})
    foreach(image program library test_program)
        set(target kelo_${kind}_${image})
        add_library(${target} MODULE EXCLUDE_FROM_ALL $<TARGET_PROPERTY:kelo_${image},SOURCES>)
        target_link_libraries(${target} PRIVATE ${objects} ${VARIANT_LIBRARIES})
        target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR})
        winsim_program(${target} ${VARIANT_MACHINE})
        target_compile_options(${target} PRIVATE ${VARIANT_OPTIONS})
        target_link_options(${target} PRIVATE ${VARIANT_LINK_OPTIONS})
        set_target_properties(${target} PROPERTIES LIBRARY_OUTPUT_DIRECTORY ${VARIANT_FOLDER}
            OUTPUT_NAME $<TARGET_PROPERTY:kelo_${image},OUTPUT_NAME>)
    endforeach()
endfunction()
