#pragma once

// Shared pieces of the shared-memory tests: unique keys, the /dev/shm entries
// of a key, a message pump for this process, a recording listener, a log
// catcher, and a helper process on pipes.

#include <ipc/CShareMemory.h>
#include <ipc/IShareMemoryListener.h>
#include <message/CMessageCenter.h>
#include <system/CLog.h>
#include <system/ILogOuter.h>
#include <text/CString.h>

#include "platform/Reaper.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <mutex>
#include <string>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace ShmTest {

using Clock = std::chrono::steady_clock;

inline unsigned int uniqueKey()
{
    static unsigned int s_uiCounter = 0;
    return 0x40000000u | ((static_cast<unsigned int>(getpid()) & 0xFFFFFu) << 8) | (++s_uiCounter & 0xFFu);
}

// The /dev/shm entries named after the key, sorted.
inline std::vector<std::string> entriesOf(unsigned int uiKey)
{
    std::vector<std::string> names;
    const std::string prefix = std::to_string(uiKey) + "_";
    if (DIR* pDir = opendir("/dev/shm")) {
        while (dirent* pEntry = readdir(pDir)) {
            const std::string name = pEntry->d_name;
            if (name.rfind("trell.", 0) == 0 && name.find(prefix) == 10)
                names.push_back(name);
        }
        closedir(pDir);
    }
    std::sort(names.begin(), names.end());
    return names;
}

// The payload of the region's entry (after the 32-byte object header).
inline std::string regionBytes(unsigned int uiKey)
{
    std::ifstream file("/dev/shm/trell.mem." + std::to_string(uiKey) + "_ShareMemory", std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    return bytes.size() >= 32 ? bytes.substr(32) : std::string();
}

inline unsigned int le32(const std::string& bytes, std::size_t offset)
{
    unsigned int uiValue = 0;
    for (int i = 3; i >= 0; --i)
        uiValue = uiValue << 8 | static_cast<unsigned char>(bytes[offset + i]);
    return uiValue;
}

inline const unsigned char* bytesOf(const std::string& text)
{
    return reinterpret_cast<const unsigned char*>(text.data());
}

inline unsigned int lengthOf(const std::string& text)
{
    return static_cast<unsigned int>(text.size());
}

// Pops and handles this process's messages until done() holds; false when
// the deadline passed first.
inline bool pumpUntil(const std::function<bool()>& done, std::chrono::milliseconds deadline = std::chrono::seconds(30))
{
    const auto end = Clock::now() + deadline;
    while (!done()) {
        Trell::CObjectPtr<Trell::CBaseMessage> pMessage = Trell::CMessageCenter::getInstance()->popMessage();
        if (pMessage)
            pMessage->handleMessage();
        else if (Clock::now() > end)
            return false;
        else
            usleep(200);
    }
    return true;
}

// Pumps for a while whatever arrives.
inline void pumpFor(std::chrono::milliseconds span)
{
    pumpUntil([] { return false; }, span);
}

// Retries writeData until it is accepted; false when the deadline passed.
inline bool writeWhenAllowed(Trell::CShareMemory& channel, const std::string& data,
                             std::chrono::milliseconds deadline = std::chrono::seconds(30))
{
    const auto end = Clock::now() + deadline;
    while (!channel.writeData(bytesOf(data), lengthOf(data))) {
        if (Clock::now() > end)
            return false;
        usleep(200);
    }
    return true;
}

// Keeps what the channel's reader hears: each block as read in the callback
// (getSize, then readData) and the farewells.
class CRecorder : public Trell::IShareMemoryListener
{
public:
    // The channel must not call it once it is gone (close the channel first).
    explicit CRecorder(Trell::CShareMemory& channel) : m_channel(channel) { channel.setListener(this); }

    void onDataAvailable() override
    {
        std::string block(m_channel.getSize(), '\0');
        if (!block.empty())
            m_channel.readData(reinterpret_cast<unsigned char*>(&block[0]), lengthOf(block));
        if (m_onData)
            m_onData(block);
        m_blocks.push_back(block);
    }
    void onWritterClose() override { ++m_iFarewells; }

    Trell::CShareMemory& m_channel;
    std::vector<std::string> m_blocks;
    int m_iFarewells = 0;
    std::function<void(const std::string&)> m_onData; // runs inside the callback
};

// Catches the log's warnings while it lives.
class CLogCatcher : public Trell::ILogOuter
{
public:
    CLogCatcher() { Trell::CLog::setLogOuter(this); }
    ~CLogCatcher() override { Trell::CLog::setLogOuter(nullptr); }

    void outputLog(const Trell::CString& level, const Trell::CString& category, const Trell::CString& message) override
    {
        (void)category;
        std::lock_guard<std::mutex> lock(m_mutex);
        m_lines.push_back(narrow(level) + ": " + narrow(message));
    }
    // Whether a line contains the text.
    bool has(const std::string& text)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        for (const std::string& line : m_lines)
            if (line.find(text) != std::string::npos)
                return true;
        return false;
    }
    void clear()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_lines.clear();
    }

private:
    static std::string narrow(const Trell::CString& text)
    {
        std::string out;
        for (unsigned int i = 0; i < text.length(); ++i)
            out += text.buffer()[i] < 0x80 ? static_cast<char>(text.buffer()[i]) : '?';
        return out;
    }

    std::mutex m_mutex;
    std::vector<std::string> m_lines;
};

// A helper program on two pipes: its stdin takes lines, its stdout gives lines.
class CHelper
{
public:
    explicit CHelper(std::vector<std::string> args)
    {
        int aiIn[2], aiOut[2];
        if (pipe2(aiIn, O_CLOEXEC) != 0 || pipe2(aiOut, O_CLOEXEC) != 0)
            return;
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, aiIn[0], 0);
        posix_spawn_file_actions_adddup2(&actions, aiOut[1], 1);
        const std::string program = ECS_TEST_SHM_HELPER;
        std::vector<char*> argv{const_cast<char*>(program.c_str())};
        for (std::string& arg : args)
            argv.push_back(arg.data());
        argv.push_back(nullptr);
        if (posix_spawn(&m_pid, program.c_str(), &actions, nullptr, argv.data(), environ) != 0)
            m_pid = -1;
        posix_spawn_file_actions_destroy(&actions);
        ::close(aiIn[0]);
        ::close(aiOut[1]);
        m_iIn = aiIn[1];
        m_iOut = aiOut[0];
    }
    ~CHelper()
    {
        kill();
        wait();
        if (m_iIn >= 0)
            ::close(m_iIn);
        if (m_iOut >= 0)
            ::close(m_iOut);
    }

    bool started() const { return m_pid > 0; }

    // The next report of its output (a line marked '@'; other lines are its
    // log) without mark and line end; "" at the deadline or when it ended.
    std::string readLine(std::chrono::milliseconds deadline = std::chrono::seconds(30))
    {
        const auto end = Clock::now() + deadline;
        for (;;) {
            const std::size_t pos = m_buffer.find('\n');
            if (pos != std::string::npos) {
                const std::string line = m_buffer.substr(0, pos);
                m_buffer.erase(0, pos + 1);
                if (line.empty() || line[0] != '@')
                    continue;
                return line.substr(1);
            }
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
            pollfd fd = {m_iOut, POLLIN, 0};
            if (left <= 0 || poll(&fd, 1, static_cast<int>(left)) <= 0)
                return std::string();
            char acChunk[4096];
            const ssize_t got = ::read(m_iOut, acChunk, sizeof(acChunk));
            if (got <= 0)
                return std::string();
            m_buffer.append(acChunk, static_cast<std::size_t>(got));
        }
    }
    void send(const std::string& line)
    {
        const std::string text = line + "\n";
        if (::write(m_iIn, text.data(), text.size()) < 0)
            ADD_FAILURE() << "helper stdin closed";
    }
    void kill()
    {
        if (m_pid > 0 && !m_bWaited)
            ::kill(m_pid, SIGKILL);
    }
    // The exit status as waitpid gives it (-1 when already collected).
    int wait()
    {
        if (m_pid <= 0 || m_bWaited)
            return -1;
        int iStatus = 0;
        waitpid(m_pid, &iStatus, 0);
        m_bWaited = true;
        return iStatus;
    }
    pid_t pid() const { return m_pid; }

private:
    pid_t m_pid = -1;
    int m_iIn = -1;
    int m_iOut = -1;
    bool m_bWaited = false;
    std::string m_buffer;
};

} // namespace ShmTest
