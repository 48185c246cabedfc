// Second process of the shared-memory tests (and of the host's). Its first
// line on stdout is its pid; then it reports lines marked '@' (its log
// prints there too). It lives 60 s at most, or until it is killed.
//   reader <key> <size>  opens a reader, reports "ready", then "data <text>"
//                        for the first block, which it holds from then on
//   writer <key> <size>  opens a writer, writes "before" and reports it
//   tear <key> <size>    a writer that then writes a block of the whole size
//                        and kills itself as soon as its length shows in the
//                        region, that is while its data is being copied
#include <ipc/CShareMemory.h>
#include <ipc/IShareMemoryListener.h>
#include <message/CMessageCenter.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

using namespace Trell;

namespace {

const auto s_end = std::chrono::steady_clock::now() + std::chrono::seconds(60); // outlives no test

struct tagReader : IShareMemoryListener
{
    CShareMemory channel;

    void onDataAvailable() override
    {
        std::string block(channel.getSize(), '\0');
        channel.readData(reinterpret_cast<unsigned char*>(block.data()), static_cast<unsigned int>(block.size()));
        std::printf("@data %s\n", block.c_str());
        std::this_thread::sleep_until(s_end);
    }
    void onWritterClose() override {}
};

} // namespace

int main(int argc, char** argv)
{
    if (argc != 4)
        return 2;
    setvbuf(stdout, nullptr, _IOLBF, 0); // each line reaches the test at once
    std::printf("%d\n", static_cast<int>(getpid()));
    const unsigned int uiKey = static_cast<unsigned int>(std::strtoul(argv[2], nullptr, 10));
    const unsigned int uiSize = static_cast<unsigned int>(std::strtoul(argv[3], nullptr, 10));
    const bool bReader = std::string(argv[1]) == "reader";
    CMessageCenter* pCenter = CMessageCenter::getInstance();
    tagReader peer;
    peer.channel.setListener(&peer);
    if (!peer.channel.open(uiKey, bReader ? CShareMemory::MODE_TYPE_READER : CShareMemory::MODE_TYPE_WRITER, uiSize))
        return 1;
    while (!bReader && !peer.channel.writeData(reinterpret_cast<const unsigned char*>("before"), 6))
        usleep(200);
    std::fputs(bReader ? "@ready\n" : "@before\n", stdout);
    if (std::string(argv[1]) == "tear") {
        // A second mapping of the region: the length (offset 4 after the
        // 32-byte object header) appears as the copy of the data begins.
        const int fd = open(("/dev/shm/trell.mem." + std::string(argv[2]) + "_ShareMemory").c_str(), O_RDONLY);
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
        while (!peer.channel.writeData(reinterpret_cast<const unsigned char*>(block.data()), uiSize))
            usleep(200);
        std::fputs("@complete\n", stdout); // the copy outran the killer
    }
    for (; std::chrono::steady_clock::now() < s_end; usleep(200)) {
        while (CObjectPtr<CBaseMessage> pMessage = pCenter->popMessage())
            pMessage->handleMessage();
    }
    return 3;
}
