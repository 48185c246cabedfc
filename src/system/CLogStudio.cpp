#include <system/CLogStudio.h>

namespace Trell {

namespace {
const char16_t* const CATEGORY = u"TrellStudio";
}

const CString CLogStudio::STR_TRELL_STUDIO(CATEGORY);

CLogStudio::CLogStudio() : CLog() {}
CLogStudio::CLogStudio(const CLogStudio&) : CLog() {}
CLogStudio& CLogStudio::operator=(const CLogStudio&)
{
    return *this;
}
CLogStudio::~CLogStudio() {}

void CLogStudio::info(const CString& message)
{
    CLog::info(CATEGORY, message.buffer());
}

void CLogStudio::info(const char16_t* message)
{
    CLog::info(CATEGORY, message);
}

void CLogStudio::warning2(const CString& message)
{
    CLog::warning2(CATEGORY, message.buffer());
}

void CLogStudio::warning2(const char16_t* message)
{
    CLog::warning2(CATEGORY, message);
}

void CLogStudio::error2(const CString& message)
{
    CLog::error2(CATEGORY, message.buffer());
}

void CLogStudio::error2(const char16_t* message)
{
    CLog::error2(CATEGORY, message);
}

void CLogStudio::debug2(const CString& message)
{
    CLog::debug2(CATEGORY, message.buffer());
}

void CLogStudio::debug2(const char16_t* message)
{
    CLog::debug2(CATEGORY, message);
}

} // namespace Trell
