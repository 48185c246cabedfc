#include <platform/posix/CImpWaitObject.h>

#include <platform/PlatformLog.h>
#include <text/CString.h>
#include <text/CStringConverter.h>

namespace Trell {

CImpWaitObject::CImpWaitObject(const CString& strName) : m_pWords(&m_localWords)
{
    if (strName.length() == 0)
        return;
    const CNamedObject::EOpen eOpen =
        m_object.open(CNamedObject::KIND_EVENT, strName.buffer(), strName.length(), sizeof(tagEventWords));
    if (m_object.isOpen()) {
        m_pWords = static_cast<tagEventWords*>(m_object.payload());
        m_bShared = true;
    } else if (eOpen == CNamedObject::OPEN_FAILED) {
        // Still an event, if only within this process (a refusal was logged already).
        PlatformLog::logWarning(u"A named event could not be shared; it stays local to this process.");
    }
}

// The named objects' one route into the library's log.
void logNamedObject(const char* pszText)
{
    CString strText;
    CStringConverter::convertFromUTF8(reinterpret_cast<const unsigned char*>(pszText), strText);
    PlatformLog::logWarning(strText.buffer());
}

} // namespace Trell
