#include <system/CLog.h>

#include <platform/CAutoSync.h>
#include <system/CLogEngine.h>
#include <system/ILogOuter.h>
#include <text/CStringConverter.h>
#include "foundation/EngineLog.h"
#include "system/LogSettings.h"

namespace Trell {

namespace {

// Lines up to this many bytes are converted on the stack.
const unsigned int LOCAL_LINE_BYTES = 1024;

// Set while s_ptrFile holds a file, so that logging without a file never
// touches the lock. Constant-initialised: valid before any constructor runs.
std::atomic<bool> g_bHasFile{false};

// The level switches as bits of one word, so that a test is one load.
const unsigned int LEVEL_INFO = 1u << 0;
const unsigned int LEVEL_WARNING = 1u << 1;
const unsigned int LEVEL_ERROR = 1u << 2;
const unsigned int LEVEL_DEBUG = 1u << 3;
const unsigned int DEFAULT_LEVELS = LEVEL_INFO | LEVEL_WARNING | LEVEL_ERROR;
const bool DEFAULT_TERMINAL = true;

// What the configuration handed down (LogSettings); constant-initialised, so
// entries logged from other static initialisers see the defaults.
std::atomic<unsigned int> g_uiLevels{DEFAULT_LEVELS};
std::atomic<bool> g_bTerminal{DEFAULT_TERMINAL};
// Read by initialize() only. A null CString needs no constructor to run.
unsigned int g_uiFileSize = 0;
CString g_strFilePath;

bool levelOn(unsigned int uiLevel)
{
    return (g_uiLevels.load(std::memory_order_relaxed) & uiLevel) != 0;
}

bool terminalOn()
{
    return g_bTerminal.load(std::memory_order_relaxed);
}

// UTF-16 little-endian, whatever the machine's byte order.
void toUTF16LE(const char16_t* pszText, unsigned int uiUnits, unsigned char* pOut)
{
    for (unsigned int i = 0; i < uiUnits; ++i) {
        pOut[2 * i] = static_cast<unsigned char>(pszText[i] & 0xFF);
        pOut[2 * i + 1] = static_cast<unsigned char>(pszText[i] >> 8);
    }
}

const char16_t* orEmpty(const char16_t* pszText)
{
    return pszText ? pszText : u"";
}

} // namespace

CObjectPtr<CFile> CLog::s_ptrFile;
CSyncObject CLog::s_syncObject;
std::atomic<ILogOuter*> CLog::s_pLogOuter{nullptr};

namespace {

// Defined after the file and the lock, so destroyed before them: closes the
// file and clears g_bHasFile, after which late entries skip the file.
struct tagLogShutdown
{
    TRELL_DECLARE_ALLOCATOR(u"tagLogShutdown")
    ~tagLogShutdown() { CLog::unInitialize(); }
};
tagLogShutdown s_logShutdown;

} // namespace

CLog::CLog()
{}
CLog::CLog(const CLog&)
{}
CLog& CLog::operator=(const CLog&)
{
    return *this;
}
CLog::~CLog()
{}

void CLog::initialize()
{
    // Without a configuration there is no path, hence no file to write.
    const CString strPath = g_strFilePath;
    const unsigned int uiLimit = g_uiFileSize;
    if (strPath.length() == 0 || uiLimit <= MIN_FILE_SIZE)
        return;

    // The file is prepared privately and published under the lock, so a
    // second initialize never exposes a half-opened file to other threads.
    CObjectPtr<CFile> ptrFile(new CFile());
    bool bOk = !ptrFile.isNull() && ptrFile->open(strPath, u"ab");
    if (bOk && ptrFile->getFileSize() > uiLimit) {
        // The limit applies only here: a file may outgrow it during a run
        // and is cut back at the next start. There is no second file.
        ptrFile->close();
        bOk = ptrFile->open(strPath, false);
    }
    if (bOk && ptrFile->isEmpty()) {
        static const unsigned char BOM[2] = {0xFF, 0xFE};
        ptrFile->writeData(BOM, sizeof(BOM));
        ptrFile->flush();
    }

    CAutoSync lock(s_syncObject);
    s_ptrFile = bOk ? ptrFile : CObjectPtr<CFile>();
    g_bHasFile.store(bOk, std::memory_order_release);
}

void CLog::unInitialize()
{
    if (!g_bHasFile.load(std::memory_order_acquire))
        return;
    CAutoSync lock(s_syncObject);
    g_bHasFile.store(false, std::memory_order_release);
    s_ptrFile.reset();
}

void CLog::setLogOuter(ILogOuter* logOuter)
{
    s_pLogOuter.store(logOuter, std::memory_order_release);
}

ILogOuter* CLog::getLogOuter()
{
    return s_pLogOuter.load(std::memory_order_acquire);
}

bool CLog::isInfoEnabled()
{
    return levelOn(LEVEL_INFO);
}

bool CLog::isWarningEnabled()
{
    return levelOn(LEVEL_WARNING);
}

bool CLog::isErrorEnabled()
{
    return levelOn(LEVEL_ERROR);
}

bool CLog::isDebugEnabled()
{
    return levelOn(LEVEL_DEBUG);
}

void CLog::info(const CString& category, const CString& message)
{
    if (levelOn(LEVEL_INFO))
        writeLog(u"Info", category.buffer(), message.buffer());
}

void CLog::info(const char16_t* category, const char16_t* message)
{
    if (levelOn(LEVEL_INFO))
        writeLog(u"Info", category, message);
}

void CLog::warning2(const CString& category, const CString& message)
{
    if (levelOn(LEVEL_WARNING))
        writeLog(u"Warning", category.buffer(), message.buffer());
}

void CLog::warning2(const char16_t* category, const char16_t* message)
{
    if (levelOn(LEVEL_WARNING))
        writeLog(u"Warning", category, message);
}

void CLog::error2(const CString& category, const CString& message)
{
    if (levelOn(LEVEL_ERROR))
        writeLog(u"Error", category.buffer(), message.buffer());
}

void CLog::error2(const char16_t* category, const char16_t* message)
{
    if (levelOn(LEVEL_ERROR))
        writeLog(u"Error", category, message);
}

void CLog::debug2(const CString& category, const CString& message)
{
    if (levelOn(LEVEL_DEBUG))
        writeLog(u"Debug", category.buffer(), message.buffer());
}

void CLog::debug2(const char16_t* category, const char16_t* message)
{
    if (levelOn(LEVEL_DEBUG))
        writeLog(u"Debug", category, message);
}

void CLog::writeLog(const char16_t* level, const char16_t* category, const char16_t* message)
{
    level = orEmpty(level);
    category = orEmpty(category);
    message = orEmpty(message);
    const CString strLine = CStringConverter::format(u"[%ls][%ls] %ls\r\n", level, category, message);

    if (terminalOn())
        CStringConverter::printf(u"%ls", orEmpty(strLine.buffer()));

    if (g_bHasFile.load(std::memory_order_acquire) && strLine.length() > 0) {
        CAutoSync lock(s_syncObject);
        if (!s_ptrFile.isNull()) {
            const unsigned int uiBytes = strLine.length() * 2;
            if (uiBytes <= LOCAL_LINE_BYTES) {
                unsigned char aLocal[LOCAL_LINE_BYTES] = {};
                toUTF16LE(strLine.buffer(), strLine.length(), aLocal);
                s_ptrFile->writeData(aLocal, uiBytes);
            } else if (unsigned char* pHeap = static_cast<unsigned char*>(CMemory::malloc(uiBytes, 0))) {
                toUTF16LE(strLine.buffer(), strLine.length(), pHeap);
                s_ptrFile->writeData(pHeap, uiBytes);
                CMemory::free(pHeap);
            }
            // Flushed per entry so that the file is complete up to a crash.
            s_ptrFile->flush();
        }
    }

    if (ILogOuter* pOuter = s_pLogOuter.load(std::memory_order_acquire))
        pOuter->outputLog(CString(level), CString(category), CString(message));
}

// ---- Settings handed down by the configuration --------------------------------

void LogSettings::setLevels(bool bInfo, bool bWarning, bool bError, bool bDebug)
{
    g_uiLevels.store((bInfo ? LEVEL_INFO : 0u) | (bWarning ? LEVEL_WARNING : 0u) | (bError ? LEVEL_ERROR : 0u) |
                         (bDebug ? LEVEL_DEBUG : 0u),
                     std::memory_order_relaxed);
}

void LogSettings::setOutput(bool bTerminal, unsigned int uiFileSize, const CString& strFilePath)
{
    g_bTerminal.store(bTerminal, std::memory_order_relaxed);
    g_uiFileSize = uiFileSize;
    g_strFilePath = strFilePath;
}

void LogSettings::reset()
{
    g_uiLevels.store(DEFAULT_LEVELS, std::memory_order_relaxed);
    g_bTerminal.store(DEFAULT_TERMINAL, std::memory_order_relaxed);
    g_uiFileSize = 0;
    g_strFilePath = CString();
}

// ---- The lines of the families below the log ------------------------------------

namespace {

bool engineInfoEnabled()
{
    return CLog::isInfoEnabled();
}

void engineInfo(const char16_t* pszText)
{
    CLogEngine::info(pszText);
}

void engineWarning(const char16_t* pszText)
{
    CLogEngine::warning2(pszText);
}

void engineError(const char16_t* pszText)
{
    CLogEngine::error2(pszText);
}

const EngineLog::tagSink ENGINE_SINK = {engineInfoEnabled, engineInfo, engineWarning, engineError};

// Foundation and platform cannot call up into the log, so the log installs
// itself as their sink while the library loads. The sink stays installed
// through static destruction: late thread lines still reach the console and
// the host's sink.
const bool g_bEngineSinkInstalled = (EngineLog::setSink(&ENGINE_SINK), true);

} // namespace

} // namespace Trell
