#pragma once

// Threading contract
// ------------------
// The process's clipboard: any thread may call these; calls are serialised.
// With DISPLAY set and its X server reachable the text goes through the X
// CLIPBOARD selection (see X11Clipboard.h; the connection follows DISPLAY as
// it is at each call), otherwise it stays inside the process. The connection
// and its thread end at library unload, or with shutdown().

namespace Trell {

class CString;

namespace Clipboard {

// Empty text changes nothing.
void writeText(const CString& strText);
// Empty when there is no text or it cannot be had.
CString readText();
// Closes the X connection (giving up the selection) and stops its thread.
void shutdown();

} // namespace Clipboard
} // namespace Trell
