#include <platform/CAutoSync.h>

#include <platform/CSyncObject.h>

namespace Trell {

// A copy takes the same lock once more, so that each destructor has its own
// lock to release.
CAutoSync::CAutoSync(const CAutoSync& other) : CObject(other), m_pSyncObject(other.m_pSyncObject)
{
    m_pSyncObject->lock();
}

CAutoSync& CAutoSync::operator=(const CAutoSync&)
{
    return *this;
}

} // namespace Trell
