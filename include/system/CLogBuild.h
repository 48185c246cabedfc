#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>
#include <system/CLog.h>
#include <text/CString.h>

namespace Trell {

// The log under the category of the build tool, "TrellBuild".
// Same levels, switches and threading as CLog.
class ECS_API CLogBuild : public CLog
{
    TRELL_DECLARE_ALLOCATOR(u"CLogBuild")

public:
    // "TrellBuild". A static object: while static initialisers run it may still
    // be null, so the functions below use their own constant text.
    static const CString STR_TRELL_BUILD;

    static void info(const CString& message);
    static void info(const char16_t* message);
    static void warning2(const CString& message);
    static void warning2(const char16_t* message);
    static void error2(const CString& message);
    static void error2(const char16_t* message);
    static void debug2(const CString& message);
    static void debug2(const char16_t* message);

protected:
    CLogBuild();
    CLogBuild(const CLogBuild&);
    CLogBuild& operator=(const CLogBuild&);
    ~CLogBuild() override;
};

} // namespace Trell
