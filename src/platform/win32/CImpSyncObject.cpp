#include <platform/win32/CImpSyncObject.h>

namespace Trell {

namespace {

// The library's locks guard a few list or table updates, far shorter than a
// kernel wait, so a contended enter spins this often before it sleeps.
const DWORD LOCK_SPIN_COUNT = 4000;

} // namespace

CImpSyncObject::CImpSyncObject()
{
    InitializeCriticalSectionAndSpinCount(&m_section, LOCK_SPIN_COUNT);
}

CImpSyncObject::~CImpSyncObject()
{
    DeleteCriticalSection(&m_section);
}

void CImpSyncObject::lock()
{
    EnterCriticalSection(&m_section);
}

void CImpSyncObject::unlock()
{
    LeaveCriticalSection(&m_section);
}

} // namespace Trell
