# The shared-memory channel's latency and throughput beside a pipe between
# the same two processes (the program starts a copy of itself as the reader).
ecs_add_benchmark(bench_shm bench_shm.cpp)
