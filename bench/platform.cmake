# Locks, events, threads and calendar time beside their standard-library
# peers (and a pipe for the cross-process wake-up).
ecs_add_benchmark(bench_platform bench_platform.cpp)
