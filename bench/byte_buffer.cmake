# CByteBuffer typed streams against std::vector<uint8_t> + memcpy, same program.
ecs_add_benchmark(bench_byte_buffer bench_byte_buffer.cpp)
