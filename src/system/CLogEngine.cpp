#include <system/CLogEngine.h>

namespace Trell {

namespace {
const char16_t* const CATEGORY = u"TrellEngine";
}

const CString CLogEngine::STR_TRELL_ENGINE(CATEGORY);

CLogEngine::CLogEngine() : CLog() {}
CLogEngine::CLogEngine(const CLogEngine&) : CLog() {}
CLogEngine& CLogEngine::operator=(const CLogEngine&)
{
    return *this;
}
CLogEngine::~CLogEngine() {}

void CLogEngine::info(const CString& message)
{
    CLog::info(CATEGORY, message.buffer());
}

void CLogEngine::info(const char16_t* message)
{
    CLog::info(CATEGORY, message);
}

void CLogEngine::warning2(const CString& message)
{
    CLog::warning2(CATEGORY, message.buffer());
}

void CLogEngine::warning2(const char16_t* message)
{
    CLog::warning2(CATEGORY, message);
}

void CLogEngine::error2(const CString& message)
{
    CLog::error2(CATEGORY, message.buffer());
}

void CLogEngine::error2(const char16_t* message)
{
    CLog::error2(CATEGORY, message);
}

void CLogEngine::debug2(const CString& message)
{
    CLog::debug2(CATEGORY, message.buffer());
}

void CLogEngine::debug2(const char16_t* message)
{
    CLog::debug2(CATEGORY, message);
}

} // namespace Trell
