# Timer lateness and the timer thread's check period beside a plain sleep
# loop, the physical limit of a thread that wakes every 10 ms.
ecs_add_benchmark(bench_timer bench_timer.cpp)
