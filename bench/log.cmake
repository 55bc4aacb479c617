find_package(benchmark REQUIRED)
find_package(spdlog REQUIRED)
vimbrel_add_bench(bench_log log.cpp)
target_link_libraries(bench_log PRIVATE benchmark::benchmark spdlog::spdlog)
