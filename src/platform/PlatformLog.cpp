#include <platform/PlatformLog.h>

#include <text/CString.h>

#include <cstdio>

namespace Trell {
namespace PlatformLog {

namespace {

// Until the log backend is connected, debug builds echo the lines on
// standard error (ASCII only) and release builds stay silent.
#ifndef NDEBUG
void toAscii(const char16_t* pszText, char* pszOut, unsigned int uiSize)
{
    unsigned int uiLength = 0;
    for (; pszText && pszText[uiLength] && uiLength + 1 < uiSize; ++uiLength)
        pszOut[uiLength] = pszText[uiLength] < 0x80 ? static_cast<char>(pszText[uiLength]) : '?';
    pszOut[uiLength] = '\0';
}

void echoThread(unsigned int uiThreadID, const CString& strName, const char* pszWhat)
{
    char szName[128];
    toAscii(strName.buffer(), szName, sizeof(szName));
    std::fprintf(stderr, "[Info][TrellEngine] Thread (ID: %u, Name: %s) %s.\n", uiThreadID, szName,
                 pszWhat);
}
#endif

} // namespace

void logThreadStarted(unsigned int uiThreadID, const CString& strName)
{
#ifndef NDEBUG
    echoThread(uiThreadID, strName, "starts");
#else
    (void)uiThreadID;
    (void)strName;
#endif
}

void logThreadExited(unsigned int uiThreadID, const CString& strName)
{
#ifndef NDEBUG
    echoThread(uiThreadID, strName, "exits");
#else
    (void)uiThreadID;
    (void)strName;
#endif
}

void logWarning(const char16_t* pszText)
{
#ifndef NDEBUG
    char szText[256];
    toAscii(pszText, szText, sizeof(szText));
    std::fprintf(stderr, "[Warning][TrellEngine] %s\n", szText);
#else
    (void)pszText;
#endif
}

} // namespace PlatformLog
} // namespace Trell
