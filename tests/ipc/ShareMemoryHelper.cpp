// Second process of the shared-memory tests. It reports on stdout, one line
// per event marked with a leading '@' (the log prints there as well), and
// takes lines on stdin.
//
//   reader <key> <size> [hold]  opens a reader and prints "ready" (or
//                               "failed"); prints "data <length> <text>" for
//                               each block ("pattern <length> ok|torn" for a
//                               pattern block) and, with hold, waits for a
//                               line on stdin before it lets the block go; on
//                               the farewell prints "close", closes, exits 0
//   stale <key> <size>          opens a writer, writes "stale", prints
//                               "written" and waits to be killed
//   tornwriter <key> <size>     opens a writer, writes "before" and prints
//                               "before"; on a line from stdin writes one
//                               pattern block of the whole size and kills
//                               itself as soon as the block's length shows in
//                               the region, that is while its data is copied
// Exit codes: 0 done, 1 open failed, 2 bad usage, 3 lifetime (60 s) over.
#include <ipc/CShareMemory.h>
#include <ipc/IShareMemoryListener.h>
#include <message/CMessageCenter.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

using namespace Trell;

namespace {

const auto LIFETIME = std::chrono::seconds(60);

void say(const std::string& line)
{
    const std::string text = "@" + line + "\n";
    if (::write(1, text.data(), text.size()) < 0)
        _exit(4);
}

std::string readLine()
{
    std::string line;
    char ch;
    while (::read(0, &ch, 1) == 1 && ch != '\n')
        line += ch;
    return line;
}

// "PAT:" then bytes that no zeroed tail can imitate.
std::vector<unsigned char> patternBlock(unsigned int uiLength)
{
    std::vector<unsigned char> block(uiLength);
    for (unsigned int i = 0; i < uiLength; ++i)
        block[i] = i < 4 ? static_cast<unsigned char>("PAT:"[i]) : static_cast<unsigned char>((i * 131u + 7u) | 1u);
    return block;
}

std::string describe(const std::vector<unsigned char>& block)
{
    const std::string length = std::to_string(block.size());
    if (block.size() >= 4 && std::memcmp(block.data(), "PAT:", 4) == 0)
        return "pattern " + length + (block == patternBlock(static_cast<unsigned int>(block.size())) ? " ok" : " torn");
    return "data " + length + " " + std::string(block.begin(), block.end());
}

class CReader : public IShareMemoryListener
{
public:
    CReader(CShareMemory& channel, bool bHold) : m_channel(channel), m_bHold(bHold) {}

    void onDataAvailable() override
    {
        std::vector<unsigned char> block(m_channel.getSize());
        if (!block.empty())
            m_channel.readData(block.data(), static_cast<unsigned int>(block.size()));
        say(describe(block));
        if (m_bHold)
            readLine();
    }
    void onWritterClose() override
    {
        say("close");
        m_bDone = true;
    }

    bool m_bDone = false;

private:
    CShareMemory& m_channel;
    bool m_bHold;
};

int runReader(unsigned int uiKey, unsigned int uiSize, bool bHold)
{
    CMessageCenter* pCenter = CMessageCenter::getInstance();
    CShareMemory channel;
    CReader reader(channel, bHold);
    channel.setListener(&reader);
    if (!channel.open(uiKey, CShareMemory::MODE_TYPE_READER, uiSize)) {
        say("failed");
        return 1;
    }
    say("ready");
    const auto end = std::chrono::steady_clock::now() + LIFETIME;
    while (!reader.m_bDone) {
        if (CObjectPtr<CBaseMessage> pMessage = pCenter->popMessage())
            pMessage->handleMessage();
        else if (std::chrono::steady_clock::now() > end)
            return 3;
        else
            usleep(200);
    }
    channel.close();
    return 0;
}

bool writeWhenAllowed(CShareMemory& channel, const unsigned char* pData, unsigned int uiLength)
{
    const auto end = std::chrono::steady_clock::now() + LIFETIME;
    while (!channel.writeData(pData, uiLength)) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        usleep(200);
    }
    return true;
}

int runStale(unsigned int uiKey, unsigned int uiSize)
{
    CShareMemory channel;
    if (!channel.open(uiKey, CShareMemory::MODE_TYPE_WRITER, uiSize) ||
        !writeWhenAllowed(channel, reinterpret_cast<const unsigned char*>("stale"), 5))
        return 1;
    say("written");
    std::this_thread::sleep_for(LIFETIME);
    return 3;
}

int runTornWriter(unsigned int uiKey, unsigned int uiSize)
{
    CShareMemory channel;
    if (!channel.open(uiKey, CShareMemory::MODE_TYPE_WRITER, uiSize) ||
        !writeWhenAllowed(channel, reinterpret_cast<const unsigned char*>("before"), 6))
        return 1;
    say("before");
    readLine();
    const std::vector<unsigned char> block = patternBlock(uiSize);
    // A second mapping of the region, read only: the length at payload
    // offset 4 appears when the copy of the data begins.
    const std::string path = "/dev/shm/trell.mem." + std::to_string(uiKey) + "_ShareMemory";
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    void* pView = fd >= 0 ? mmap(nullptr, 64, PROT_READ, MAP_SHARED, fd, 0) : MAP_FAILED;
    if (pView == MAP_FAILED)
        return 1;
    const volatile unsigned char* pLength = static_cast<const unsigned char*>(pView) + 32 + 4;
    std::thread killer([pLength, uiSize] {
        for (;;) {
            const unsigned int uiSeen = pLength[0] | pLength[1] << 8 | pLength[2] << 16 | pLength[3] << 24;
            if (uiSeen == uiSize)
                ::kill(getpid(), SIGKILL);
        }
    });
    killer.detach();
    writeWhenAllowed(channel, block.data(), uiSize);
    // Only when the copy outran the killer.
    say("complete");
    std::this_thread::sleep_for(LIFETIME);
    return 3;
}

} // namespace

int main(int argc, char** argv)
{
    const std::string mode = argc > 1 ? argv[1] : "";
    if (argc < 4)
        return 2;
    const unsigned int uiKey = static_cast<unsigned int>(std::strtoul(argv[2], nullptr, 10));
    const unsigned int uiSize = static_cast<unsigned int>(std::strtoul(argv[3], nullptr, 10));
    if (mode == "reader")
        return runReader(uiKey, uiSize, argc > 4 && std::string(argv[4]) == "hold");
    if (mode == "stale")
        return runStale(uiKey, uiSize);
    if (mode == "tornwriter")
        return runTornWriter(uiKey, uiSize);
    return 2;
}
