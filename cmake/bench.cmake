# kelo-bench: the cost of the program and the simulated machine, compared with floors. Built on request; not a test.

find_package(benchmark REQUIRED)

add_library(kelo_bench_program MODULE EXCLUDE_FROM_ALL ${KELO_PROGRAM_SOURCE} bench/image/bench_calls.cpp)
target_link_libraries(kelo_bench_program PRIVATE kelo_objects)
target_include_directories(kelo_bench_program PRIVATE ${PROJECT_SOURCE_DIR})
winsim_program(kelo_bench_program)
set_target_properties(kelo_bench_program PROPERTIES OUTPUT_NAME KeloBench)

add_executable(kelo-bench EXCLUDE_FROM_ALL bench/main.cpp)
target_compile_options(kelo-bench PRIVATE ${KELO_WARNINGS})
target_link_libraries(kelo-bench PRIVATE explanation benchmark::benchmark)
target_compile_definitions(kelo-bench PRIVATE KELO_ROOT="${PROJECT_SOURCE_DIR}")
add_dependencies(kelo-bench kelo_bench_program kelo_program kelo_library)
