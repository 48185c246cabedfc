// The built-in MP3 player of a build without GStreamer: nothing loads, so
// every other call finds no file and does nothing.
#include <platform/posix/CImpPlayerMP3.h>

#include <platform/PlatformImp.h>
#include <platform/PlatformLog.h>
#include <text/CString.h>
#include <text/CStringConverter.h>

namespace Trell {

struct CImpPlayerMP3::tagPipeline
{};

CImpPlayerMP3::CImpPlayerMP3() : m_pPipeline(nullptr), m_uiTotalTime(0)
{}

CImpPlayerMP3::~CImpPlayerMP3() = default;

bool CImpPlayerMP3::load(const CString& strPath)
{
    const char16_t* pszPath = strPath.buffer() ? strPath.buffer() : u"";
    PlatformLog::logWarning(
        CStringConverter::format(u"MP3 player: cannot load %ls (built without GStreamer).", pszPath).buffer());
    return false;
}

void CImpPlayerMP3::close()
{}

bool CImpPlayerMP3::play()
{
    return false;
}

void CImpPlayerMP3::stop()
{}

void CImpPlayerMP3::pause()
{}

void CImpPlayerMP3::resume()
{}

void CImpPlayerMP3::seekToTime(unsigned int)
{}

unsigned int CImpPlayerMP3::getCurrentTime()
{
    return 0;
}

namespace PlatformImp {

IPlayerMP3* createPlayerMP3()
{
    return new CImpPlayerMP3();
}

} // namespace PlatformImp
} // namespace Trell
