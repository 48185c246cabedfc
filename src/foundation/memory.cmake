# Memory manager: CMemory front-end, the manager, its pooled allocator and the
# checker of checking mode.
option(ECS_MEMORY_CHECKING
    "Memory manager checking mode: guarded live-block list, per-class statistics and the memory report"
    OFF)
option(ECS_MEMORY_TESTING
    "Memory manager test hooks (failure injection, allocation counts); the test presets turn them on, a shipped library has none"
    OFF)

list(APPEND ECS_HEADERS
    include/foundation/CMemory.h
    include/foundation/CMemManager.h
    include/foundation/CMemAllocator.h
    include/foundation/CMemChecker.h
    include/foundation/IMemManagerListener.h
    include/foundation/MemoryManager.h
)
set(ECS_MEMORY_SOURCES
    src/foundation/CMemory.cpp
    src/foundation/CMemManager.cpp
    src/foundation/CMemAllocator.cpp
    src/foundation/CMemChecker.cpp
    src/foundation/MemThreadCache.cpp
)
if(ECS_MEMORY_TESTING)
    list(APPEND ECS_MEMORY_SOURCES src/foundation/MemTesting.cpp)
endif()
list(APPEND ECS_SOURCES
    ${ECS_MEMORY_SOURCES}
    src/foundation/Console.cpp
    src/foundation/Console.h
    src/foundation/MemInternal.h
    src/foundation/MemSpinLock.h
    src/foundation/MemTesting.h
    src/foundation/MemThreadCache.h
)

# The switch is private to these files: nothing outside the manager changes
# with it, and tests ask CMemManager::isCheckingMode() at run time.
if(ECS_MEMORY_CHECKING)
    set_property(SOURCE ${ECS_MEMORY_SOURCES} APPEND PROPERTY COMPILE_DEFINITIONS ECS_MEMORY_CHECKING=1)
endif()
if(ECS_MEMORY_TESTING)
    set_property(SOURCE ${ECS_MEMORY_SOURCES} APPEND PROPERTY COMPILE_DEFINITIONS ECS_MEMORY_TESTING=1)
endif()
# The thread caches' pointer lives in TLS with the default model in the
# shared library (see MemThreadCache.h); TLS descriptors keep its access off
# __tls_get_addr where the target offers them (x86; other targets use them
# by default).
include(CheckCXXCompilerFlag)
check_cxx_compiler_flag(-mtls-dialect=gnu2 ECS_HAS_TLS_DESCRIPTORS)
if(ECS_HAS_TLS_DESCRIPTORS)
    set_property(SOURCE ${ECS_MEMORY_SOURCES} APPEND PROPERTY COMPILE_OPTIONS -mtls-dialect=gnu2)
endif()
# The allocation path crosses these files on every malloc and free; without
# semantic interposition GCC may call the exported functions directly instead
# of through the PLT (no one interposes them).
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    set_property(SOURCE ${ECS_MEMORY_SOURCES} APPEND PROPERTY COMPILE_OPTIONS -fno-semantic-interposition)
endif()
