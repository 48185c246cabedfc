// Second process of the shared-memory tests: `ecs_test_shm_helper <key>`
// opens a reader of 16 bytes on the key. Its first line on stdout is its
// pid; then it reports lines marked '@' (its log prints there too): "ready",
// "data <text>" for each block, which it lets go on SIGUSR1, and "close" on
// the farewell, after which it closes and exits 0.
#include <ipc/CShareMemory.h>
#include <ipc/IShareMemoryListener.h>
#include <message/CMessageCenter.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <string>

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

struct tagReader : IShareMemoryListener
{
    CShareMemory channel;
    bool bDone = false;

    void onDataAvailable() override
    {
        std::string block(channel.getSize(), '\0');
        channel.readData(reinterpret_cast<unsigned char*>(block.data()), static_cast<unsigned int>(block.size()));
        say("data " + block);
        int iSignal = 0;
        sigwait(&s_go, &iSignal);
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
    if (argc != 2 || write(1, pid.data(), pid.size()) < 0)
        return 2;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60); // outlives no test
    CMessageCenter* pCenter = CMessageCenter::getInstance();
    tagReader reader;
    reader.channel.setListener(&reader);
    if (!reader.channel.open(static_cast<unsigned int>(std::strtoul(argv[1], nullptr, 10)),
                             CShareMemory::MODE_TYPE_READER, 16))
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
