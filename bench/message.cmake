# The message center's push/pop throughput beside a mutex + deque + condition
# variable queue.
ecs_add_benchmark(bench_message bench_message.cpp)
