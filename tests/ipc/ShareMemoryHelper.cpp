// Second process of the shared-memory tests. Its first line on stdout is
// its pid; then it reports lines marked '@' (its log prints there too).
// SIGUSR1 is its "go".
//   reader <key> <size>  opens a reader and reports "ready"; reports
//                        "data <text>" for each block and lets it go on
//                        "go"; reports "close" on the farewell, closes and
//                        exits 0
//   writer <key> <size>  opens a writer, writes "before" and reports it; on
//                        "go" writes a block of the whole size and kills
//                        itself as soon as its length shows in the region,
//                        that is while its data is being copied
#include <ipc/CShareMemory.h>
#include <ipc/IShareMemoryListener.h>
#include <message/CMessageCenter.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <string>
#include <thread>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

using namespace Trell;

namespace {

sigset_t s_go;

void say(const std::string& line)
{
    const std::string text = "@" + line + "\n";
    if (write(1, text.data(), text.size()) < 0)
        _exit(4);
}

void awaitGo()
{
    int iSignal = 0;
    sigwait(&s_go, &iSignal);
}

struct tagReader : IShareMemoryListener
{
    CShareMemory channel;
    bool bDone = false;

    void onDataAvailable() override
    {
        std::string block(channel.getSize(), '\0');
        channel.readData(reinterpret_cast<unsigned char*>(block.data()), static_cast<unsigned int>(block.size()));
        say("data " + block);
        awaitGo();
    }
    void onWritterClose() override
    {
        say("close");
        bDone = true;
    }
};

} // namespace

int main(int argc, char** argv)
{
    // Blocked before any thread starts, so that only sigwait takes it.
    sigemptyset(&s_go);
    sigaddset(&s_go, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &s_go, nullptr);
    const std::string pid = std::to_string(getpid()) + "\n";
    if (argc != 4 || write(1, pid.data(), pid.size()) < 0)
        return 2;
    const std::string mode = argv[1];
    const unsigned int uiKey = static_cast<unsigned int>(std::strtoul(argv[2], nullptr, 10));
    const unsigned int uiSize = static_cast<unsigned int>(std::strtoul(argv[3], nullptr, 10));
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60); // outlives no test
    if (mode == "reader") {
        CMessageCenter* pCenter = CMessageCenter::getInstance();
        tagReader reader;
        reader.channel.setListener(&reader);
        if (!reader.channel.open(uiKey, CShareMemory::MODE_TYPE_READER, uiSize))
            return 1;
        say("ready");
        while (!reader.bDone && std::chrono::steady_clock::now() < end) {
            if (CObjectPtr<CBaseMessage> pMessage = pCenter->popMessage())
                pMessage->handleMessage();
            else
                usleep(200);
        }
        reader.channel.close();
        return reader.bDone ? 0 : 3;
    }
    CShareMemory writer;
    const auto writeBlock = [&](const std::string& block) {
        while (!writer.writeData(reinterpret_cast<const unsigned char*>(block.data()),
                                 static_cast<unsigned int>(block.size())))
            usleep(200);
    };
    if (mode != "writer" || !writer.open(uiKey, CShareMemory::MODE_TYPE_WRITER, uiSize))
        return 1;
    writeBlock("before");
    say("before");
    awaitGo();
    // A second mapping of the region: the length (offset 4 after the 32-byte
    // object header) appears as the copy of the data begins.
    const int fd = open(("/dev/shm/trell.mem." + std::string(argv[2]) + "_ShareMemory").c_str(), O_RDONLY | O_CLOEXEC);
    void* pView = mmap(nullptr, 64, PROT_READ, MAP_SHARED, fd, 0);
    if (fd < 0 || pView == MAP_FAILED)
        return 1;
    std::thread([pView, uiSize] {
        while (*reinterpret_cast<const volatile unsigned int*>(static_cast<char*>(pView) + 36) != uiSize) {
        }
        kill(getpid(), SIGKILL);
    }).detach();
    std::string block(uiSize, '\0');
    for (unsigned int i = 0; i < uiSize; ++i)
        block[i] = i < 4 ? "PAT:"[i] : static_cast<char>((i * 131u + 7u) | 1u);
    writeBlock(block);
    say("complete"); // the copy outran the killer
    std::this_thread::sleep_until(end);
    return 3;
}
