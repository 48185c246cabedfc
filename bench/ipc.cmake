# The TCP channel beside plain sockets: a framed round trip against a raw
# ping-pong of the same size, and bulk raw throughput through the endpoints
# against a plain blocking socket pair.
ecs_add_benchmark(bench_ipc bench_ipc.cpp)
