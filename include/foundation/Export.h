#pragma once

// ECS_API marks the classes and functions that form the library's boundary.
// The library is built with hidden visibility, so anything without it stays
// internal to the shared object.
#if defined(_WIN32)
#if defined(ECS_BUILDING_LIBRARY)
#define ECS_API __declspec(dllexport)
#else
#define ECS_API __declspec(dllimport)
#endif
#else
#define ECS_API __attribute__((visibility("default")))
#endif
