#include <system/CLog.h>

#include <configuration/CConfigParser.h>
#include <platform/CAutoSync.h>
#include <system/ILogOuter.h>
#include <text/CStringConverter.h>

namespace Trell {

namespace {

// Lines up to this many bytes are converted on the stack.
const unsigned int LOCAL_LINE_BYTES = 1024;

// Set while s_ptrFile holds a file, so that logging without a file never
// touches the lock. Constant-initialised: valid before any constructor runs.
std::atomic<bool> g_bHasFile{false};

// The switches and outputs in force before a configuration exists. The log
// never creates the configuration itself: it may be called on any thread,
// and the configuration's singleton is created without a lock.
const CConfigParser::tagLogLevel DEFAULT_LEVEL = {true, true, true, false, false};
const bool DEFAULT_TERMINAL = true;

const CConfigParser::tagLogLevel* logLevel()
{
    return CConfigParser::hasInstance() ? CConfigParser::getInstance()->getLogLevel() : &DEFAULT_LEVEL;
}

bool terminalOn()
{
    return CConfigParser::hasInstance() ? CConfigParser::getInstance()->getLogOutput()->terminal : DEFAULT_TERMINAL;
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

CLog::CLog() {}
CLog::CLog(const CLog&) {}
CLog& CLog::operator=(const CLog&)
{
    return *this;
}
CLog::~CLog() {}

void CLog::initialize()
{
    // Without a configuration there is no file to write.
    if (!CConfigParser::hasInstance())
        return;
    const CConfigParser::tagLogOutput* pOutput = CConfigParser::getInstance()->getLogOutput();
    const CString strPath = pOutput->file_path_win;
    const unsigned int uiLimit = pOutput->file_size;
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
    return logLevel()->info;
}

bool CLog::isWarningEnabled()
{
    return logLevel()->warning;
}

bool CLog::isErrorEnabled()
{
    return logLevel()->error;
}

bool CLog::isDebugEnabled()
{
    return logLevel()->debug;
}

void CLog::info(const CString& category, const CString& message)
{
    const CConfigParser::tagLogLevel* pLevel = logLevel();
    if (pLevel->info)
        writeLog(u"Info", category.buffer(), message.buffer());
}

void CLog::info(const char16_t* category, const char16_t* message)
{
    const CConfigParser::tagLogLevel* pLevel = logLevel();
    if (pLevel->info)
        writeLog(u"Info", category, message);
}

void CLog::warning2(const CString& category, const CString& message)
{
    const CConfigParser::tagLogLevel* pLevel = logLevel();
    if (pLevel->warning)
        writeLog(u"Warning", category.buffer(), message.buffer());
}

void CLog::warning2(const char16_t* category, const char16_t* message)
{
    const CConfigParser::tagLogLevel* pLevel = logLevel();
    if (pLevel->warning)
        writeLog(u"Warning", category, message);
}

void CLog::error2(const CString& category, const CString& message)
{
    const CConfigParser::tagLogLevel* pLevel = logLevel();
    if (pLevel->error)
        writeLog(u"Error", category.buffer(), message.buffer());
}

void CLog::error2(const char16_t* category, const char16_t* message)
{
    const CConfigParser::tagLogLevel* pLevel = logLevel();
    if (pLevel->error)
        writeLog(u"Error", category, message);
}

void CLog::debug2(const CString& category, const CString& message)
{
    const CConfigParser::tagLogLevel* pLevel = logLevel();
    if (pLevel->debug)
        writeLog(u"Debug", category.buffer(), message.buffer());
}

void CLog::debug2(const char16_t* category, const char16_t* message)
{
    const CConfigParser::tagLogLevel* pLevel = logLevel();
    if (pLevel->debug)
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

} // namespace Trell
