find_package(ICU COMPONENTS uc REQUIRED)
ecs_add_benchmark(bench_converter bench_converter.cpp LIBS ICU::uc)
