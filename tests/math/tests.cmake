# Scalar helpers, rectangles and colours by their rules; the geometry classes
# against GLM (header-only, tests only).
find_path(ECS_GLM_INCLUDE_DIR glm/glm.hpp REQUIRED)
list(APPEND ECS_TESTS math/CMathTest.cpp math/CRectangleTest.cpp math/CColorTest.cpp math/GeometryTest.cpp)
