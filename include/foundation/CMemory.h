#pragma once

#include <foundation/Export.h>

#include <atomic>
#include <cstddef>

namespace Trell {

// Static front-end of the library's allocator. Every library class allocates
// through it (see TRELL_DECLARE_ALLOCATOR). While the memory manager is not
// active, requests go to the system heap and class identifiers are 0.
class ECS_API CMemory
{
public:
    static void* malloc(unsigned int size, unsigned int classId);
    static void free(void* p);
    static unsigned int registClassName(const char16_t* name);

    // Used by the per-class operators: registers the class name the first time
    // (an identifier of 0 means "not computed yet" and is simply recomputed)
    // and allocates under that identifier. Sizes beyond 32 bits give null.
    static void* classMalloc(std::size_t size, std::atomic<unsigned int>& classId,
                             const char16_t* name) noexcept;

protected:
    CMemory();
    CMemory(const CMemory&);
    virtual ~CMemory();
};

} // namespace Trell

// Gives a class its own allocation operators, routed through CMemory and
// tagged with the class's unqualified name. Place it first in the class body;
// it leaves the access at public. The operators are noexcept, so a failed
// allocation makes `new` yield null instead of constructing on null.
#define TRELL_DECLARE_ALLOCATOR(ClassNameLiteral)                                            \
public:                                                                                      \
    static std::atomic<unsigned int>& trellClassId() noexcept                                \
    {                                                                                        \
        static std::atomic<unsigned int> s_uiClassId{0};                                     \
        return s_uiClassId;                                                                  \
    }                                                                                        \
    static void* operator new(std::size_t size) noexcept                                     \
    {                                                                                        \
        return ::Trell::CMemory::classMalloc(size, trellClassId(), ClassNameLiteral);        \
    }                                                                                        \
    static void* operator new[](std::size_t size) noexcept                                   \
    {                                                                                        \
        return ::Trell::CMemory::classMalloc(size, trellClassId(), ClassNameLiteral);        \
    }                                                                                        \
    static void* operator new(std::size_t, void* where) noexcept { return where; }           \
    static void* operator new[](std::size_t, void* where) noexcept { return where; }         \
    static void operator delete(void* p) noexcept { ::Trell::CMemory::free(p); }             \
    static void operator delete[](void* p) noexcept { ::Trell::CMemory::free(p); }           \
    static void operator delete(void*, void*) noexcept {}                                    \
    static void operator delete[](void*, void*) noexcept {}
