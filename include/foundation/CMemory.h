#pragma once

#include <foundation/Export.h>

#include <atomic>
#include <cstddef>

namespace Trell {

// Static front-end of the library's allocator. Every library class allocates
// through it (see TRELL_DECLARE_ALLOCATOR). While the memory manager
// (CMemManager) is active, requests go to it; before it is constructed and
// after it is destroyed they go to the system heap, and class identifiers are
// 0 unless the manager runs in checking mode. Any thread may call these.
// A block must be freed in the same regime it was allocated in: a system-heap
// block handed to the active manager is refused as a foreign pointer.
class ECS_API CMemory
{
public:
    // Null when the memory cannot be had (after the manager's listener retry).
    static void* malloc(unsigned int size, unsigned int classId);
    // Null is ignored; a pointer the manager did not hand out is refused
    // with a console warning and nothing is freed.
    static void free(void* p);
    // The class's identifier for the memory report: 1, 2, 3 ... in order of
    // first registration; 0 unless the manager is active in checking mode.
    static unsigned int registClassName(const char16_t* name);

    // Used by the per-class operators: registers the class name the first time
    // (an identifier of 0 means "not computed yet" and is simply recomputed)
    // and allocates under that identifier. Sizes beyond 32 bits give null.
    static void* classMalloc(std::size_t size, std::atomic<unsigned int>& classId, const char16_t* name) noexcept;

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
#define TRELL_DECLARE_ALLOCATOR(ClassNameLiteral)                                                                      \
public:                                                                                                                \
    static std::atomic<unsigned int>& trellClassId() noexcept                                                          \
    {                                                                                                                  \
        static std::atomic<unsigned int> s_uiClassId{0};                                                               \
        return s_uiClassId;                                                                                            \
    }                                                                                                                  \
    static void* operator new(std::size_t size) noexcept                                                               \
    {                                                                                                                  \
        return ::Trell::CMemory::classMalloc(size, trellClassId(), ClassNameLiteral);                                  \
    }                                                                                                                  \
    static void* operator new[](std::size_t size) noexcept                                                             \
    {                                                                                                                  \
        return ::Trell::CMemory::classMalloc(size, trellClassId(), ClassNameLiteral);                                  \
    }                                                                                                                  \
    static void* operator new(std::size_t, void* where) noexcept                                                       \
    {                                                                                                                  \
        return where;                                                                                                  \
    }                                                                                                                  \
    static void* operator new[](std::size_t, void* where) noexcept                                                     \
    {                                                                                                                  \
        return where;                                                                                                  \
    }                                                                                                                  \
    static void operator delete(void* p) noexcept                                                                      \
    {                                                                                                                  \
        ::Trell::CMemory::free(p);                                                                                     \
    }                                                                                                                  \
    static void operator delete[](void* p) noexcept                                                                    \
    {                                                                                                                  \
        ::Trell::CMemory::free(p);                                                                                     \
    }                                                                                                                  \
    static void operator delete(void*, void*) noexcept                                                                 \
    {}                                                                                                                 \
    static void operator delete[](void*, void*) noexcept                                                               \
    {}
