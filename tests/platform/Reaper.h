#pragma once

// Ends the test program with a message when a test does not finish within a
// generous deadline, so that a wait that never returns fails instead of
// hanging the run.

#include <text/CString.h>

#include "support/WaitUntil.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <string>
#include <thread>

class CReaper
{
public:
    explicit CReaper(const char* pszWhat, std::chrono::seconds deadline = std::chrono::seconds(60))
        : m_thread([strWhat = std::string(pszWhat), deadline, done = m_done.get_future()] {
              if (done.wait_for(deadline) != std::future_status::ready) {
                  std::fprintf(stderr, "Reaper: '%s' did not finish within %lld s\n", strWhat.c_str(),
                               static_cast<long long>(deadline.count()));
                  std::fflush(stderr);
                  std::abort();
              }
          })
    {}
    ~CReaper()
    {
        m_done.set_value();
        m_thread.join();
    }

private:
    std::promise<void> m_done; // before the thread, which takes its future
    std::thread m_thread;
};

// Library text of an ASCII string.
inline Trell::CString toCString(const std::string& text)
{
    const std::u16string wide(text.begin(), text.end());
    return Trell::CString(wide.c_str());
}
