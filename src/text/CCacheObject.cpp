#include <text/CCacheObject.h>

namespace Trell {

CCacheObject::CCacheObject(unsigned int id, const CString& name)
    : CObject(), m_uiId(id), m_strName(name), m_uiTime(0), m_uiFrequency(0)
{}

CCacheObject::~CCacheObject()
{}

void CCacheObject::reset()
{
    m_uiId = 0;
    m_strName = CString();
    m_uiTime = 0;
    m_uiFrequency = 0;
}

void CCacheObject::increaseFrequency()
{
    if (m_uiFrequency != 0xFFFFFFFFu)
        ++m_uiFrequency;
}

} // namespace Trell
