# End to end through the reference host: a touch_input frame from a remote
# controller's socket to the host's handler, beside the raw loopback round
# trip.
if(TARGET ecs_host_app)
    ecs_add_benchmark(bench_host bench_host.cpp LIBS ecs_host_app ecs_headless_surface)
endif()
