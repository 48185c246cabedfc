#pragma once

// Ends the test program with a message when a test does not finish within a
// generous deadline, so that a wait that never returns fails instead of
// hanging the run.

#include <text/CString.h>

#include "support/WaitUntil.h"

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>

class CReaper
{
public:
    explicit CReaper(const char* pszWhat, std::chrono::seconds deadline = std::chrono::seconds(60))
        : m_strWhat(pszWhat), m_thread([this, deadline] { watch(deadline); })
    {
    }
    ~CReaper()
    {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_bDone = true;
        }
        m_cv.notify_all();
        m_thread.join();
    }

private:
    void watch(std::chrono::seconds deadline)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        if (!m_cv.wait_for(lock, deadline, [this] { return m_bDone; })) {
            std::fprintf(stderr, "Reaper: '%s' did not finish within %lld s\n", m_strWhat.c_str(),
                         static_cast<long long>(deadline.count()));
            std::fflush(stderr);
            std::abort();
        }
    }

    std::string m_strWhat;
    std::mutex m_mutex;
    std::condition_variable m_cv;
    bool m_bDone = false;
    std::thread m_thread;
};

// Library text of an ASCII string.
inline Trell::CString toCString(const std::string& text)
{
    const std::u16string wide(text.begin(), text.end());
    return Trell::CString(wide.c_str());
}
