#pragma once

#include <foundation/CMemory.h>
#include <system/CLog.h>
#include <text/CString.h>

namespace Trell {

// The forwarding functions shared by the logs of one fixed category
// (CLogEngine, CLogStudio, CLogBuild): the same levels, switches and threading
// as CLog. Derived supplies CATEGORY, a plain character constant, so that the
// functions work even while static initialisers run.
template <class Derived>
class CLogCategory : public CLog
{
    TRELL_DECLARE_ALLOCATOR(u"CLogCategory")

public:
    static void info(const CString& message) { CLog::info(Derived::CATEGORY, message.buffer()); }
    static void info(const char16_t* message) { CLog::info(Derived::CATEGORY, message); }
    static void warning2(const CString& message) { CLog::warning2(Derived::CATEGORY, message.buffer()); }
    static void warning2(const char16_t* message) { CLog::warning2(Derived::CATEGORY, message); }
    static void error2(const CString& message) { CLog::error2(Derived::CATEGORY, message.buffer()); }
    static void error2(const char16_t* message) { CLog::error2(Derived::CATEGORY, message); }
    static void debug2(const CString& message) { CLog::debug2(Derived::CATEGORY, message.buffer()); }
    static void debug2(const char16_t* message) { CLog::debug2(Derived::CATEGORY, message); }

protected:
    CLogCategory() = default;
    CLogCategory(const CLogCategory& other) = default;
    CLogCategory& operator=(const CLogCategory& other) = default;
    ~CLogCategory() override = default;
};

} // namespace Trell
