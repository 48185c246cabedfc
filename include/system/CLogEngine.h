#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>
#include <system/CLog.h>
#include <text/CString.h>

namespace Trell {

// The log under the category of the engine runtime, "TrellEngine".
// Same levels, switches and threading as CLog.
class ECS_API CLogEngine : public CLog
{
    TRELL_DECLARE_ALLOCATOR(u"CLogEngine")

public:
    // "TrellEngine". A static object: while static initialisers run it may still
    // be null, so the functions below use their own constant text.
    static const CString STR_TRELL_ENGINE;

    static void info(const CString& message);
    static void info(const char16_t* message);
    static void warning2(const CString& message);
    static void warning2(const char16_t* message);
    static void error2(const CString& message);
    static void error2(const char16_t* message);
    static void debug2(const CString& message);
    static void debug2(const char16_t* message);

protected:
    CLogEngine();
    CLogEngine(const CLogEngine&);
    CLogEngine& operator=(const CLogEngine&);
    ~CLogEngine() override;
};

} // namespace Trell
