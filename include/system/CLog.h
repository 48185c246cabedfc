#pragma once

// Threading contract
// ------------------
// Any thread may log. An entry is formatted on the calling thread, printed on
// the console (when configured), written to the log file and then handed to
// the host's sink. Only the file write is serialised, by s_syncObject: the
// console print and the sink call happen outside the lock, so lines of two
// threads may interleave differently on the console, in the file and in the
// sink, and a sink may log again without deadlocking.
//
// initialize() must run on the host's main thread after the configuration is
// loaded and before other threads log; it publishes the new file under the
// lock. unInitialize() takes the lock, so it may run while others log.
// setLogOuter() is meant for start-up and shutdown; the sink must outlive
// every log call that may still see it.
//
// The level switches and the output settings come from the configuration,
// which hands them down when its instance is created or loaded (the log sits
// below it and never reads or creates it). Until then, and after the
// configuration is deleted, the log uses the built-in defaults: info,
// warning and error on, debug off, console on, no file.
//
// The log is also the platform layer's sink (thread start and exit lines,
// platform warnings); it installs itself while the library loads.
//
// The file and the lock are static objects of the library. Entries logged
// while they are not constructed yet (from other static initialisers) or
// after they are gone (static destructors) reach the console and the sink
// but never the file.

#include <foundation/CMemory.h>
#include <foundation/CObjectPtr.h>
#include <foundation/Export.h>
#include <platform/CSyncObject.h>
#include <system/CFile.h>
#include <text/CString.h>

#include <atomic>

namespace Trell {

class ILogOuter;

// The process-wide log: four levels, a free-text category, and three outputs
// (console as UTF-8, a UTF-16LE log file, the host's sink). Each entry is
// the line "[level][category] message" ending in CR LF. A level that is
// switched off costs one test and formats nothing.
//
// Not instantiable; every member is static.
class ECS_API CLog
{
    TRELL_DECLARE_ALLOCATOR(u"CLog")

public:
    // A configured size limit of this many bytes or fewer switches the log
    // file off.
    static const unsigned int MIN_FILE_SIZE = 10240;

    // Opens the configured log file for appending. A file larger than the
    // configured size is emptied first (no rotation); a new or emptied file
    // starts with the byte-order mark FF FE. Nothing happens when the path is
    // empty or the size limit is MIN_FILE_SIZE or less; a file that cannot be
    // opened silently switches file output off.
    static void initialize();
    // Closes the log file.
    static void unInitialize();
    // Stores the host's sink (not owned); null removes it.
    static void setLogOuter(ILogOuter* logOuter);
    static ILogOuter* getLogOuter();

    // Level "Info", "Warning", "Error" and "Debug", each written only when
    // the configuration's switch for it is on. (The "2" in three of the
    // names is historical.) Null texts print as empty.
    static void info(const CString& category, const CString& message);
    static void info(const char16_t* category, const char16_t* message);
    static void warning2(const CString& category, const CString& message);
    static void warning2(const char16_t* category, const char16_t* message);
    static void error2(const CString& category, const CString& message);
    static void error2(const char16_t* category, const char16_t* message);
    static void debug2(const CString& category, const CString& message);
    static void debug2(const char16_t* category, const char16_t* message);

    // The switches as the entry functions test them, for callers that would
    // otherwise format a message only to have it dropped.
    static bool isInfoEnabled();
    static bool isWarningEnabled();
    static bool isErrorEnabled();
    static bool isDebugEnabled();

protected:
    CLog();
    CLog(const CLog&);
    CLog& operator=(const CLog&);
    virtual ~CLog();

    // Writes one entry whatever the switches say.
    static void writeLog(const char16_t* level, const char16_t* category, const char16_t* message);

    static CObjectPtr<CFile> s_ptrFile;
    static CSyncObject s_syncObject;
    // Atomic so that a sink set at start-up is seen by every logging thread.
    static std::atomic<ILogOuter*> s_pLogOuter;
};

} // namespace Trell
