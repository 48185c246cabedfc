# CString against std::u16string, same program.
ecs_add_benchmark(bench_string bench_string.cpp)
