# Matrix products, inverses, point transforms and ray-box tests beside GLM
# (header-only), same program and flags.
find_path(ECS_GLM_INCLUDE_DIR glm/glm.hpp REQUIRED)
ecs_add_benchmark(bench_math bench_math.cpp)
