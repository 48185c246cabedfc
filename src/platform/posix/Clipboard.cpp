#include <platform/posix/Clipboard.h>

#include <platform/PlatformLog.h>
#include <platform/posix/Utf8Text.h>
#include <platform/posix/X11Clipboard.h>
#include <text/CString.h>

#include <cstdlib>
#include <mutex>
#include <string>

namespace Trell {
namespace Clipboard {

namespace {

class CClipboardService
{
    TRELL_DECLARE_ALLOCATOR(u"Clipboard::CClipboardService")

public:
    ~CClipboardService() { shutdown(); }

    void write(const CString& strText)
    {
        if (strText.length() == 0)
            return;
        std::lock_guard<std::mutex> guard(m_mutex);
        if (CX11Clipboard* pX11 = session()) {
            if (!pX11->write(Utf8Text::encode(strText.buffer(), strText.length())))
                PlatformLog::logWarning(u"The X server did not give the clipboard to this process.");
            return;
        }
        m_strLocal.assign(strText.buffer(), strText.length());
    }

    CString read()
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        std::u16string strText;
        if (CX11Clipboard* pX11 = session()) {
            std::string strUtf8;
            if (pX11->read(strUtf8))
                strText = Utf8Text::decode(strUtf8.data(), strUtf8.size());
        } else {
            strText = m_strLocal;
        }
        return CString(strText.c_str(), static_cast<unsigned int>(strText.size()));
    }

    void shutdown()
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        dropSession();
    }

private:
    // The local text never outlives a change between X and no X: what was
    // copied before belongs to the other side.
    void dropSession()
    {
        if (m_pX11)
            m_strLocal.clear();
        delete m_pX11;
        m_pX11 = nullptr;
        m_strDisplay.clear();
    }

    // The X connection for the current DISPLAY, made or remade as needed;
    // null when there is none to be had.
    CX11Clipboard* session()
    {
        const char* pszDisplay = std::getenv("DISPLAY");
        const std::string strDisplay = pszDisplay ? pszDisplay : "";
        if (m_pX11 && m_pX11->isBroken()) {
            logDisplay(u"The connection to X display ", m_strDisplay, u" was lost.");
            dropSession();
        }
        if (m_pX11 && strDisplay != m_strDisplay)
            dropSession();
        if (!m_pX11 && !strDisplay.empty()) {
            m_pX11 = CX11Clipboard::connect(strDisplay);
            if (m_pX11) {
                m_strLocal.clear();
                m_strDisplay = strDisplay;
                m_strReported.clear();
            } else if (strDisplay != m_strReported) {
                // Once per display, not on every call that finds it away.
                logDisplay(u"X display ", strDisplay, u" cannot be opened; the clipboard stays inside this process.");
                m_strReported = strDisplay;
            }
        }
        return m_pX11;
    }

    static void logDisplay(const char16_t* pszBefore, const std::string& strDisplay, const char16_t* pszAfter)
    {
        std::u16string strLine(pszBefore);
        strLine += Utf8Text::decode(strDisplay.data(), strDisplay.size());
        strLine += pszAfter;
        PlatformLog::logWarning(strLine.c_str());
    }

    std::mutex m_mutex;
    CX11Clipboard* m_pX11 = nullptr;
    std::string m_strDisplay;  // the display m_pX11 is connected to
    std::string m_strReported; // the display last reported as unusable
    std::u16string m_strLocal; // the clipboard without a display
};

// Destroyed at library unload, which joins the X thread.
CClipboardService s_service;

} // namespace

void writeText(const CString& strText)
{
    s_service.write(strText);
}

CString readText()
{
    return s_service.read();
}

void shutdown()
{
    s_service.shutdown();
}

} // namespace Clipboard
} // namespace Trell
