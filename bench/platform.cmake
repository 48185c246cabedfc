# Locks, events, threads and calendar time beside their standard-library
# peers (and a pipe for the cross-process wake-up, a process-shared pthread
# mutex for the named mutex, which is internal: its layer is compiled in).
ecs_add_benchmark(bench_platform bench_platform.cpp ${PROJECT_SOURCE_DIR}/src/platform/posix/NamedObject.cpp)
