#include <system/CLogBuild.h>

namespace Trell {

namespace {
const char16_t* const CATEGORY = u"TrellBuild";
}

const CString CLogBuild::STR_TRELL_BUILD(CATEGORY);

CLogBuild::CLogBuild() : CLog() {}
CLogBuild::CLogBuild(const CLogBuild&) : CLog() {}
CLogBuild& CLogBuild::operator=(const CLogBuild&)
{
    return *this;
}
CLogBuild::~CLogBuild() {}

void CLogBuild::info(const CString& message)
{
    CLog::info(CATEGORY, message.buffer());
}

void CLogBuild::info(const char16_t* message)
{
    CLog::info(CATEGORY, message);
}

void CLogBuild::warning2(const CString& message)
{
    CLog::warning2(CATEGORY, message.buffer());
}

void CLogBuild::warning2(const char16_t* message)
{
    CLog::warning2(CATEGORY, message);
}

void CLogBuild::error2(const CString& message)
{
    CLog::error2(CATEGORY, message.buffer());
}

void CLogBuild::error2(const char16_t* message)
{
    CLog::error2(CATEGORY, message);
}

void CLogBuild::debug2(const CString& message)
{
    CLog::debug2(CATEGORY, message.buffer());
}

void CLogBuild::debug2(const char16_t* message)
{
    CLog::debug2(CATEGORY, message);
}

} // namespace Trell
