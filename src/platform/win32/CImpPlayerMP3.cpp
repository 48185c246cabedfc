#include <platform/win32/CImpPlayerMP3.h>

#include <platform/PlatformImp.h>
#include <platform/PlatformLog.h>
#include <platform/win32/WideText.h>
#include <text/CString.h>

#include <string>

#include <windows.h>

// Needs the types windows.h declares.
#include <mmsystem.h>

namespace Trell {

namespace PlatformImp {

IPlayerMP3* createPlayerMP3()
{
    return new CImpPlayerMP3();
}

} // namespace PlatformImp

namespace {

void logFailure(const char16_t* pszStep, MCIERROR error)
{
    wchar_t szReason[256] = {};
    if (!mciGetErrorStringW(error, szReason, 256))
        szReason[0] = L'\0';
    std::u16string strLine = u"MP3 player: ";
    strLine += pszStep;
    strLine += u" failed (MCI error ";
    strLine += std::u16string(WideText::fromWide(std::to_wstring(error).c_str()));
    strLine += u": ";
    strLine += WideText::fromWide(szReason);
    strLine += u").";
    PlatformLog::logWarning(strLine.c_str());
}

} // namespace

CImpPlayerMP3::CImpPlayerMP3() : m_uiDevice(0), m_uiTotalTime(0)
{}

CImpPlayerMP3::~CImpPlayerMP3()
{
    close();
}

bool CImpPlayerMP3::load(const CString& strPath)
{
    close();
    MCI_OPEN_PARMSW open{};
    open.lpstrDeviceType = L"MPEGVideo";
    open.lpstrElementName = WideText::toWide(strPath);
    MCIERROR error =
        mciSendCommandW(0, MCI_OPEN, MCI_OPEN_TYPE | MCI_OPEN_ELEMENT | MCI_WAIT, reinterpret_cast<DWORD_PTR>(&open));
    if (error != 0) {
        logFailure(u"opening the file", error);
        return false;
    }
    m_uiDevice = open.wDeviceID;
    MCI_SET_PARMS set{};
    set.dwTimeFormat = MCI_FORMAT_MILLISECONDS;
    error = mciSendCommandW(m_uiDevice, MCI_SET, MCI_SET_TIME_FORMAT, reinterpret_cast<DWORD_PTR>(&set));
    MCI_STATUS_PARMS status{};
    if (error == 0) {
        status.dwItem = MCI_STATUS_LENGTH;
        error =
            mciSendCommandW(m_uiDevice, MCI_STATUS, MCI_STATUS_ITEM | MCI_WAIT, reinterpret_cast<DWORD_PTR>(&status));
    }
    if (error != 0) {
        logFailure(u"reading the length", error);
        close();
        return false;
    }
    m_uiTotalTime = static_cast<unsigned int>(status.dwReturn / 1000);
    return true;
}

void CImpPlayerMP3::close()
{
    if (m_uiDevice == 0)
        return;
    MCI_GENERIC_PARMS generic{};
    mciSendCommandW(m_uiDevice, MCI_STOP, MCI_WAIT, reinterpret_cast<DWORD_PTR>(&generic));
    mciSendCommandW(m_uiDevice, MCI_CLOSE, MCI_NOTIFY, reinterpret_cast<DWORD_PTR>(&generic));
    m_uiDevice = 0;
    m_uiTotalTime = 0;
}

bool CImpPlayerMP3::play()
{
    if (m_uiDevice == 0)
        return false;
    MCI_SEEK_PARMS seek{};
    MCIERROR error = mciSendCommandW(m_uiDevice, MCI_SEEK, MCI_SEEK_TO_START, reinterpret_cast<DWORD_PTR>(&seek));
    MCI_PLAY_PARMS play{};
    if (error == 0)
        error = mciSendCommandW(m_uiDevice, MCI_PLAY, MCI_NOTIFY, reinterpret_cast<DWORD_PTR>(&play));
    if (error != 0)
        logFailure(u"playing", error);
    return error == 0;
}

void CImpPlayerMP3::stop()
{
    MCI_GENERIC_PARMS generic{};
    if (m_uiDevice != 0)
        mciSendCommandW(m_uiDevice, MCI_STOP, MCI_WAIT, reinterpret_cast<DWORD_PTR>(&generic));
}

void CImpPlayerMP3::pause()
{
    MCI_GENERIC_PARMS generic{};
    if (m_uiDevice != 0)
        mciSendCommandW(m_uiDevice, MCI_PAUSE, MCI_WAIT, reinterpret_cast<DWORD_PTR>(&generic));
}

void CImpPlayerMP3::resume()
{
    MCI_GENERIC_PARMS generic{};
    if (m_uiDevice != 0)
        mciSendCommandW(m_uiDevice, MCI_RESUME, MCI_WAIT, reinterpret_cast<DWORD_PTR>(&generic));
}

void CImpPlayerMP3::seekToTime(unsigned int uiSeconds)
{
    if (m_uiDevice == 0 || uiSeconds > m_uiTotalTime)
        return;
    MCI_SEEK_PARMS seek{};
    seek.dwTo = uiSeconds * 1000;
    if (mciSendCommandW(m_uiDevice, MCI_SEEK, MCI_TO | MCI_WAIT, reinterpret_cast<DWORD_PTR>(&seek)) != 0)
        return;
    // Seeking also starts playback from there.
    MCI_PLAY_PARMS play{};
    play.dwFrom = seek.dwTo;
    mciSendCommandW(m_uiDevice, MCI_PLAY, MCI_FROM | MCI_NOTIFY, reinterpret_cast<DWORD_PTR>(&play));
}

unsigned int CImpPlayerMP3::getCurrentTime()
{
    if (m_uiDevice == 0)
        return 0;
    MCI_STATUS_PARMS status{};
    status.dwItem = MCI_STATUS_POSITION;
    if (mciSendCommandW(m_uiDevice, MCI_STATUS, MCI_STATUS_ITEM | MCI_WAIT, reinterpret_cast<DWORD_PTR>(&status)) != 0)
        return 0;
    const unsigned int uiSeconds = static_cast<unsigned int>(status.dwReturn / 1000);
    return uiSeconds < m_uiTotalTime ? uiSeconds : m_uiTotalTime;
}

} // namespace Trell
