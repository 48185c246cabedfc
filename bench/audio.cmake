# The audio player's pause latency and playback CPU beside a bare GStreamer
# playbin driven directly (the peer); nothing to measure without GStreamer.
if(TARGET PkgConfig::ECS_GSTREAMER)
    ecs_add_benchmark(bench_audio bench_audio.cpp LIBS PkgConfig::ECS_GSTREAMER)
endif()
