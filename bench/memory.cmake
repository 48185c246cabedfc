# Memory manager beside glibc, mimalloc and jemalloc (the last two loaded at
# run time when installed).
ecs_add_benchmark(bench_memory bench_memory.cpp LIBS ${CMAKE_DL_LIBS})
