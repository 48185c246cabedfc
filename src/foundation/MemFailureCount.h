#pragma once

// For code inside the library that makes many small allocations it cannot
// each check (a settings reader filling records with strings): it compares
// the count before and after and fails as a whole when it moved.

namespace Trell {
namespace MemInternal {

// Requests through CMemory that yielded null on the calling thread so far.
unsigned int failedAllocationCount() noexcept;

} // namespace MemInternal
} // namespace Trell
