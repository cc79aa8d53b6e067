# The fuzz targets: the program's image compiled by clang and watched by its sanitizers, and for each source in
# tests/fuzz/targets/ a fuzzer (libFuzzer) that feeds it, linked with the winsim of this build. Separate commands compile
# them, because the rest of this build uses another compiler.

find_program(KELO_CLANG clang++)
if(NOT KELO_CLANG)
    message(STATUS "No fuzzers: there is no clang++")
    return()
endif()

set(FUZZ_FOLDER ${CMAKE_CURRENT_BINARY_DIR}/fuzz)
set(FUZZ_SANITIZERS -fsanitize=address,undefined -fno-sanitize=vptr,function -fno-sanitize-recover=all)
set(FUZZ_PLAIN_OPTIONS -std=c++20 -g1 -O1 -fno-omit-frame-pointer -Wall -Wextra -Wshadow -Werror)
set(FUZZ_OPTIONS ${FUZZ_PLAIN_OPTIONS} ${FUZZ_SANITIZERS})
set(FUZZ_INCLUDES -I${PROJECT_SOURCE_DIR} -I${PROJECT_SOURCE_DIR}/winsim/include)

# clang_header(HEADER SOURCE OPTION...): precompiles a header.
function(clang_header header source)
    add_custom_command(OUTPUT ${header} DEPENDS ${source} DEPFILE ${header}.d
        COMMAND ${KELO_CLANG} ${ARGN} ${FUZZ_INCLUDES} -fpch-instantiate-templates -MD -MF ${header}.d
            -x c++-header ${source} -o ${header}
        VERBATIM COMMENT "Compiling ${header} for the fuzzers")
endfunction()

# clang_objects(OBJECTS FOLDER SOURCES [HEADER file] OPTIONS option...): compiles each source of a list to an object in a
# folder, with a precompiled header if one is named.
function(clang_objects objects folder sources)
    cmake_parse_arguments(CLANG "" HEADER OPTIONS ${ARGN})
    if(CLANG_HEADER)
        list(APPEND CLANG_OPTIONS -include-pch ${CLANG_HEADER} -fpch-instantiate-templates)
    endif()
    set(made "")
    foreach(source ${sources})
        cmake_path(RELATIVE_PATH source BASE_DIRECTORY ${PROJECT_SOURCE_DIR} OUTPUT_VARIABLE name)
        set(object ${FUZZ_FOLDER}/${folder}/${name}.o)
        cmake_path(GET object PARENT_PATH parent)
        file(MAKE_DIRECTORY ${parent})
        add_custom_command(OUTPUT ${object} DEPENDS ${source} ${CLANG_HEADER} DEPFILE ${object}.d
            COMMAND ${CMAKE_CXX_COMPILER_LAUNCHER} ${KELO_CLANG} ${CLANG_OPTIONS} ${FUZZ_INCLUDES} -MD -MF ${object}.d
                -c ${source} -o ${object}
            VERBATIM COMMENT "Compiling ${name} for the fuzzers")
        list(APPEND made ${object})
    endforeach()
    set(${objects} ${made} PARENT_SCOPE)
endfunction()

# The image. The fuzzer reads its coverage through the functions of counters.cpp.
set(FUZZ_IMAGE_OPTIONS ${FUZZ_OPTIONS} -fsized-deallocation ${WINSIM_PROGRAM_OPTIONS}
    -D_GLIBCXX_EXTERN_TEMPLATE=0 -I${PROJECT_SOURCE_DIR}/src)
file(GLOB FUZZ_RUNTIME_SOURCES ${PROJECT_SOURCE_DIR}/winsim/crt/*.cpp
    ${PROJECT_SOURCE_DIR}/tests/support/test_text_winsim.cpp)
set(FUZZ_COUNTING_OPTIONS ${FUZZ_IMAGE_OPTIONS} -fsanitize-coverage=inline-8bit-counters,trace-cmp)
list(TRANSFORM KELO_VARIANT_HEADERS REPLACE "(.+)" "#include \\1\n" OUTPUT_VARIABLE includes)
string(CONCAT includes ${includes})
file(CONFIGURE OUTPUT ${FUZZ_FOLDER}/image.h CONTENT "${includes}" @ONLY)
clang_header(${FUZZ_FOLDER}/image.pch ${FUZZ_FOLDER}/image.h ${FUZZ_COUNTING_OPTIONS})
clang_objects(FUZZ_IMAGE_OBJECTS image "${KELO_SOURCES};${KELO_PROGRAM_SOURCE};${TEST_CALL_SOURCES}"
    HEADER ${FUZZ_FOLDER}/image.pch OPTIONS ${FUZZ_COUNTING_OPTIONS})
clang_objects(FUZZ_RUNTIME image "${FUZZ_RUNTIME_SOURCES}" OPTIONS ${FUZZ_COUNTING_OPTIONS})
clang_objects(FUZZ_COUNTERS image "${PROJECT_SOURCE_DIR}/tests/fuzz/image/counters.cpp" OPTIONS ${FUZZ_IMAGE_OPTIONS})
set(FUZZ_IMAGE ${FUZZ_FOLDER}/KeloCustomActionFuzz.so)
add_custom_command(OUTPUT ${FUZZ_IMAGE} DEPENDS ${FUZZ_IMAGE_OBJECTS} ${FUZZ_RUNTIME} ${FUZZ_COUNTERS}
    COMMAND ${KELO_CLANG} -shared ${FUZZ_SANITIZERS} ${FUZZ_IMAGE_OBJECTS} ${FUZZ_RUNTIME} ${FUZZ_COUNTERS}
        -o ${FUZZ_IMAGE} -Wl,--version-script=${WINSIM_PROGRAM_MAP}
    COMMENT "Linking the image for the fuzzers")

# The code that reads descriptions is watched as well: it replaces winsim's own. Most of the compile time goes into
# templates of the same headers, so its sources are compiled at once.
set(FUZZ_HOST_OPTIONS -DWINSIM_HOST -DKELO_ROOT="${PROJECT_SOURCE_DIR}")
file(GLOB FUZZ_DESCRIPTION_SOURCES ${PROJECT_SOURCE_DIR}/winsim/machine/*.cpp
    ${PROJECT_SOURCE_DIR}/winsim/base/description.cpp ${PROJECT_SOURCE_DIR}/winsim/base/description_text.cpp)
list(TRANSFORM FUZZ_DESCRIPTION_SOURCES REPLACE "(.+)" "#include \"\\1\"\n" OUTPUT_VARIABLE includes)
string(CONCAT includes ${includes})
file(CONFIGURE OUTPUT ${FUZZ_FOLDER}/description.cpp CONTENT "${includes}" @ONLY)
clang_objects(FUZZ_DESCRIPTION_OBJECTS host "${FUZZ_FOLDER}/description.cpp"
    OPTIONS ${FUZZ_OPTIONS} ${FUZZ_HOST_OPTIONS} -fsanitize=fuzzer-no-link)

# libFuzzer gives up on a target in which it finds nothing that it can count.
set(FUZZ_WATCHED_OPTIONS ${FUZZ_PLAIN_OPTIONS} -fsanitize=address,fuzzer-no-link ${FUZZ_HOST_OPTIONS})
clang_header(${FUZZ_FOLDER}/fuzz.pch ${PROJECT_SOURCE_DIR}/tests/fuzz/fuzz.h ${FUZZ_WATCHED_OPTIONS})
set(FUZZ_TARGET_OPTIONS HEADER ${FUZZ_FOLDER}/fuzz.pch OPTIONS ${FUZZ_WATCHED_OPTIONS})
clang_objects(FUZZ_SUPPORT host "${PROJECT_SOURCE_DIR}/tests/fuzz/fuzz.cpp" ${FUZZ_TARGET_OPTIONS})

file(GLOB FUZZ_TARGETS CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tests/fuzz/targets/*.cpp)
set(FUZZERS "")
foreach(source ${FUZZ_TARGETS})
    cmake_path(GET source STEM target)
    clang_objects(object host "${source}" ${FUZZ_TARGET_OPTIONS})
    set(objects ${object} ${FUZZ_SUPPORT})
    if(target STREQUAL "machine_description")
        list(APPEND objects ${FUZZ_DESCRIPTION_OBJECTS})
    endif()
    set(fuzzer ${FUZZ_FOLDER}/${target})
    add_custom_command(OUTPUT ${fuzzer} DEPENDS ${objects} winsim
        COMMAND ${KELO_CLANG} -fsanitize=fuzzer ${FUZZ_SANITIZERS} -rdynamic ${objects} $<TARGET_FILE:winsim> -lfmt
            -Wl,-rpath,$<TARGET_FILE_DIR:winsim> -o ${fuzzer}
        COMMENT "Linking the fuzzer ${target}")
    list(APPEND FUZZERS ${fuzzer})
    add_test(NAME fuzz.${target} COMMAND ${PROJECT_SOURCE_DIR}/tests/fuzz/run ${fuzzer})
    set_tests_properties(fuzz.${target} PROPERTIES LABELS fuzz TIMEOUT 604800 COST 250)
endforeach()
add_custom_target(fuzz_tests ALL DEPENDS ${FUZZ_IMAGE} ${FUZZERS})
