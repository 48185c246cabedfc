# Touch input through the message center to the surface's listener beside
# a plain std::deque queue, and a timer's wait during a 5 kHz move flood.
ecs_add_benchmark(bench_touch bench_touch.cpp)
