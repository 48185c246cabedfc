#pragma once

// The settings the log takes from the engine configuration. The log sits
// below the configuration, so the configuration hands them down: when its
// instance is created or loaded, and back to the defaults when it is deleted.
// Until then the log uses the built-in defaults: info, warning and error on,
// debug off, console on, no file.
//
// Threading: written by the configuration's owner on the host's main thread;
// the switches are atomics read by every logging thread, the file settings
// are read only by CLog::initialize on the main thread.

namespace Trell {

class CString;

namespace LogSettings {

void setLevels(bool bInfo, bool bWarning, bool bError, bool bDebug);
void setOutput(bool bTerminal, unsigned int uiFileSize, const CString& strFilePath);
// Back to the built-in defaults.
void reset();

} // namespace LogSettings
} // namespace Trell
