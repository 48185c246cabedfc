#include <foundation/CMemory.h>

#include <climits>
#include <cstdlib>

namespace Trell {

CMemory::CMemory() = default;
CMemory::CMemory(const CMemory&) = default;
CMemory::~CMemory() = default;

// The pooled manager is not active yet: everything goes to the system heap and
// no class name is registered.
void* CMemory::malloc(unsigned int size, unsigned int /*classId*/)
{
    return std::malloc(size);
}

void CMemory::free(void* p)
{
    std::free(p);
}

unsigned int CMemory::registClassName(const char16_t* /*name*/)
{
    return 0;
}

void* CMemory::classMalloc(std::size_t size, std::atomic<unsigned int>& classId,
                           const char16_t* name) noexcept
{
    if (size > UINT_MAX)
        return nullptr;
    unsigned int id = classId.load(std::memory_order_relaxed);
    if (id == 0) {
        id = registClassName(name);
        classId.store(id, std::memory_order_relaxed);
    }
    return malloc(static_cast<unsigned int>(size), id);
}

} // namespace Trell
