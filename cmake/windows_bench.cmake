# The programs for Windows that the benchmarks run, here under Wine. Built on request: bench_programs.

add_custom_target(bench_programs DEPENDS kelo_images)

function(bench_program name)
    add_executable(${name} EXCLUDE_FROM_ALL ${ARGN})
    target_compile_options(${name} PRIVATE ${KELO_WARNINGS} -Os)
    target_compile_definitions(${name} PRIVATE WIN32_LEAN_AND_MEAN)
    target_link_libraries(${name} PRIVATE shell32)
    target_link_options(${name} PRIVATE -static -s)
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bench)
    add_dependencies(bench_programs ${name})
endfunction()

bench_program(empty_program WIN32 bench/windows/empty_program.cpp)
bench_program(folder_program WIN32 bench/windows/folder_program.cpp)
bench_program(exception_program WIN32 bench/windows/exception_program.cpp)

# The cost of a log line on Windows' own files.
bench_program(log_lines ${KELO_PROGRAM_SOURCE} bench/windows/write_log_bench.cpp)
target_link_libraries(log_lines PRIVATE kelo_objects ${KELO_WINDOWS_LIBRARIES})
target_include_directories(log_lines PRIVATE ${PROJECT_SOURCE_DIR})
