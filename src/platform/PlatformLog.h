#pragma once

// The one route by which the platform classes log. Every line they write
// goes through one of these functions, so the log backend is wired in a
// single place.

namespace Trell {

class CString;

namespace PlatformLog {

// "Thread (ID: %ld, Name: %ls) starts." at information level.
void logThreadStarted(unsigned int uiThreadID, const CString& strName);
// "Thread (ID: %ld, Name: %ls) exits." at information level.
void logThreadExited(unsigned int uiThreadID, const CString& strName);
// A warning in the engine category.
void logWarning(const char16_t* pszText);

} // namespace PlatformLog
} // namespace Trell
