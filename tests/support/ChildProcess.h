#pragma once

// Shared by the tests that start processes: text helpers, a scoped
// environment variable, a log sink that keeps its entries, and the
// descriptors a child holds.

#include <system/CLog.h>
#include <system/ILogOuter.h>
#include <text/CString.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <mutex>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <stdlib.h>

inline std::u16string wide(const Trell::CString& strText)
{
    return strText.buffer() ? std::u16string(strText.buffer(), strText.length()) : std::u16string();
}

inline Trell::CString text(const std::u16string& strText)
{
    return Trell::CString(strText.c_str(), static_cast<unsigned int>(strText.size()));
}

inline std::u16string ascii(const std::string& strText)
{
    return std::u16string(strText.begin(), strText.end());
}

inline std::vector<std::string> readLines(const std::string& strPath)
{
    std::vector<std::string> aryLines;
    std::ifstream in(strPath);
    for (std::string strLine; std::getline(in, strLine);)
        aryLines.push_back(strLine);
    return aryLines;
}

// Sets (or with null removes) an environment variable until the end of the scope.
class CEnvironment
{
public:
    CEnvironment(const char* pszName, const char* pszValue)
        : m_strName(pszName), m_strOld(getenv(pszName) ? std::optional<std::string>(getenv(pszName)) : std::nullopt)
    {
        set(pszName, pszValue);
    }
    ~CEnvironment() { set(m_strName.c_str(), m_strOld ? m_strOld->c_str() : nullptr); }

    static void set(const char* pszName, const char* pszValue)
    {
#ifdef _WIN32
        _putenv_s(pszName, pszValue ? pszValue : ""); // an empty value removes it
#else
        pszValue ? setenv(pszName, pszValue, 1) : unsetenv(pszName);
#endif
    }

    std::string m_strName;
    std::optional<std::string> m_strOld;
};

// Keeps "Level|message" of every engine entry while it lives.
class CLogRecorder : public Trell::ILogOuter
{
public:
    CLogRecorder() { Trell::CLog::setLogOuter(this); }
    ~CLogRecorder() override { Trell::CLog::setLogOuter(nullptr); }
    void outputLog(const Trell::CString& level, const Trell::CString& category, const Trell::CString& message) override
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        if (wide(category) == u"TrellEngine")
            m_aryEntries.push_back(wide(level) + u"|" + wide(message));
    }
    std::vector<std::u16string> take()
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        return std::move(m_aryEntries);
    }

    std::mutex m_mutex;
    std::vector<std::u16string> m_aryEntries;
};

#ifndef _WIN32
// The descriptors of this process that a child inherits (not close-on-exec).
// (The listing's own descriptor is close-on-exec.)
inline std::set<int> inheritableDescriptors()
{
    std::set<int> setFds;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        const int fd = atoi(entry.path().filename().c_str());
        if (!(fcntl(fd, F_GETFD) & FD_CLOEXEC))
            setFds.insert(fd);
    }
    return setFds;
}

// Whether a child run through runCaptured holds its three standard
// descriptors and those this process leaves inheritable, and nothing else.
inline ::testing::AssertionResult
childHoldsOnlyWhatItShould(const std::function<Trell::CString(const Trell::CString&)>& runCaptured)
{
    std::set<int> setExpected = inheritableDescriptors();
    setExpected.insert({0, 1, 2});
    const std::u16string strOut = wide(runCaptured(text(u"exec " + ascii(ECS_TEST_CHILD) + u" fds")));
    std::istringstream in(std::string(strOut.begin(), strOut.end()));
    const std::set<int> setHeld{std::istream_iterator<int>(in), std::istream_iterator<int>()};
    return ::testing::AssertionResult(setHeld == setExpected) << "the child holds " << ::testing::PrintToString(setHeld)
                                                              << ", not " << ::testing::PrintToString(setExpected);
}
#endif
