#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>
#include <system/CLog.h>
#include <text/CString.h>

namespace Trell {

// The log under the category of the editor (studio), "TrellStudio".
// Same levels, switches and threading as CLog.
class ECS_API CLogStudio : public CLog
{
    TRELL_DECLARE_ALLOCATOR(u"CLogStudio")

public:
    // "TrellStudio". A static object: while static initialisers run it may still
    // be null, so the functions below use their own constant text.
    static const CString STR_TRELL_STUDIO;

    static void info(const CString& message);
    static void info(const char16_t* message);
    static void warning2(const CString& message);
    static void warning2(const char16_t* message);
    static void error2(const CString& message);
    static void error2(const char16_t* message);
    static void debug2(const CString& message);
    static void debug2(const char16_t* message);

protected:
    CLogStudio();
    CLogStudio(const CLogStudio&);
    CLogStudio& operator=(const CLogStudio&);
    ~CLogStudio() override;
};

} // namespace Trell
