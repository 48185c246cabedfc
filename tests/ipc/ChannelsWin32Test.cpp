// The Windows sides of the channels where their own faults would hide: the
// Winsock error codes, closes that must end waits of another thread, and the
// named mutexes and mappings of the shared-memory channel.
#include <ipc/CShareMemory.h>
#include <ipc/CSocketClient.h>
#include <ipc/CSocketServer.h>
#include <ipc/IShareMemoryListener.h>
#include <ipc/ISocketClientListener.h>
#include <ipc/ISocketServerListener.h>
#include <message/CMessageCenter.h>
#include <system/CLog.h>
#include <system/ILogOuter.h>
#include <text/CString.h>

#include "support/WaitUntil.h"
#include "system/TempFolder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <windows.h>

using namespace Trell;
using namespace std::chrono_literals;

namespace {

class CLogLines : public ILogOuter
{
public:
    CLogLines() { CLog::setLogOuter(this); }
    ~CLogLines() override { CLog::setLogOuter(nullptr); }
    void outputLog(const CString&, const CString&, const CString& message) override
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        m_lines.push_back(narrow(message));
    }
    bool has(const std::string& text)
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        for (const std::string& line : m_lines) {
            if (line.find(text) != std::string::npos)
                return true;
        }
        return false;
    }

private:
    std::mutex m_mutex;
    std::vector<std::string> m_lines;
};

// What an endpoint heard. As a server's listener it echoes each chunk from
// the receiving thread, as a host answers.
struct CEvents : ISocketServerListener, ISocketClientListener
{
    TRELL_DECLARE_ALLOCATOR(u"CEvents")

    void onConnect(CSocketServer*, unsigned int) override { ++iConnects; }
    void onDisconnect(CSocketServer*, unsigned int) override { ++iDisconnects; }
    void onDataAvailable(CSocketServer* pServer, unsigned int uiClient, unsigned char* pData, int iLength) override
    {
        onDataAvailable(nullptr, pData, iLength);
        pServer->sendData(pData, static_cast<unsigned int>(iLength), uiClient);
    }
    void onConnect(CSocketClient*) override { ++iConnects; }
    void onDisconnect(CSocketClient*) override { ++iDisconnects; }
    void onDataAvailable(CSocketClient*, unsigned char* pData, int iLength) override
    {
        std::lock_guard<std::mutex> guard(mutex);
        strReceived.append(reinterpret_cast<char*>(pData), iLength);
    }
    std::string received()
    {
        std::lock_guard<std::mutex> guard(mutex);
        return strReceived;
    }
    std::atomic<int> iConnects{0};
    std::atomic<int> iDisconnects{0};
    std::mutex mutex;
    std::string strReceived;
};

const unsigned char* bytesOf(const std::string& text)
{
    return reinterpret_cast<const unsigned char*>(text.data());
}

} // namespace

// Both ways and twice; the stops end the endpoint threads' waits. Then
// nothing listens on the port: the refused connect logs Winsock's code.
TEST(SocketsWin32, ExchangeStopAndRefusal)
{
    CLogLines log;
    CEvents serverEvents;
    CSocketServer server(0, 0);
    server.setBindAddress(u"127.0.0.1");
    server.setListener(&serverEvents);
    server.start();
    ASSERT_TRUE(waitUntil([&] { return server.getListeningPort() != 0; }, 20s));
    const unsigned int uiPort = server.getListeningPort();

    for (int iRound = 0; iRound < 2; ++iRound) {
        CEvents clientEvents;
        CSocketClient client(CString(u"127.0.0.1"), uiPort, true, 0);
        client.setListener(&clientEvents);
        client.start(false);
        ASSERT_TRUE(
            waitUntil([&] { return clientEvents.iConnects == 1 && serverEvents.iConnects == iRound + 1; }, 20s));
        const std::string strText = "round " + std::to_string(iRound);
        EXPECT_EQ(static_cast<int>(strText.size()), client.sendData(bytesOf(strText), strText.size()));
        ASSERT_TRUE(waitUntil([&] { return clientEvents.received() == strText; }, 20s));
        // The client's thread waits in its receive: the stop must end it.
        client.stop();
        EXPECT_FALSE(client.isConnect());
        // The server's receive sees the close and goes back to accepting.
        ASSERT_TRUE(waitUntil([&] { return serverEvents.iDisconnects == iRound + 1; }, 20s));
    }
    EXPECT_EQ("round 0round 1", serverEvents.received());
    // Its thread waits in accept now.
    server.stop();
    EXPECT_EQ(0u, server.getListeningPort());

    CEvents events;
    CSocketClient client(CString(u"127.0.0.1"), uiPort, true, 0);
    client.setListener(&events);
    client.start(false);
    EXPECT_TRUE(waitUntil([&] { return log.has("server, error code=" + std::to_string(WSAECONNREFUSED) + "."); }, 20s));
    client.stop();
    EXPECT_EQ(0, events.iConnects.load());
}

namespace {

// A reader that keeps every block it is given, in order.
struct CReader : IShareMemoryListener
{
    void onWritterClose() override { ++iFarewells; }
    void onDataAvailable() override
    {
        std::string strBlock(channel.getSize(), '\0');
        channel.readData(reinterpret_cast<unsigned char*>(&strBlock[0]), static_cast<unsigned int>(strBlock.size()));
        aryBlocks.push_back(strBlock);
    }

    CShareMemory channel;
    int iFarewells = 0;
    std::vector<std::string> aryBlocks;
};

// Handles the channels' notifications on this thread, as a host's main loop
// does, until the condition holds.
template <class TCondition>
bool pumpUntil(TCondition condition)
{
    return waitUntil(
        [&] {
            while (CObjectPtr<CBaseMessage> pMessage = CMessageCenter::getInstance()->popMessage())
                pMessage->handleMessage();
            return condition();
        },
        20s);
}

unsigned int uniqueKey(unsigned int uiCase)
{
    return (GetCurrentProcessId() & 0xFFFF) * 16 + uiCase;
}

bool writeWhenAllowed(CShareMemory& writer, const std::string& strBlock)
{
    return pumpUntil([&] { return writer.writeData(bytesOf(strBlock), static_cast<unsigned int>(strBlock.size())); });
}

} // namespace

TEST(ShareMemoryWin32, EveryReaderGetsEveryBlockInOrder)
{
    const unsigned int uiKey = uniqueKey(1);
    CReader a, b;
    a.channel.setListener(&a);
    b.channel.setListener(&b);
    ASSERT_TRUE(a.channel.open(uiKey, CShareMemory::MODE_TYPE_READER, 32));
    ASSERT_TRUE(b.channel.open(uiKey, CShareMemory::MODE_TYPE_READER, 32));
    CShareMemory writer;
    ASSERT_TRUE(writer.open(uiKey, CShareMemory::MODE_TYPE_WRITER, 32));
    std::vector<std::string> aryExpected;
    for (int i = 0; i < 12; ++i) {
        aryExpected.push_back("block " + std::to_string(i));
        ASSERT_TRUE(writeWhenAllowed(writer, aryExpected.back()));
    }
    EXPECT_TRUE(pumpUntil([&] { return a.aryBlocks.size() == 12 && b.aryBlocks.size() == 12; }));
    EXPECT_EQ(aryExpected, a.aryBlocks);
    EXPECT_EQ(aryExpected, b.aryBlocks);
    // A channel that joins the live region leaves its contents as they are.
    CShareMemory late;
    ASSERT_TRUE(late.open(uiKey, CShareMemory::MODE_TYPE_READER, 32));
    EXPECT_EQ(aryExpected.back().size(), a.channel.getSize());
    late.close();
    writer.close();
    EXPECT_TRUE(pumpUntil([&] { return a.iFarewells == 1 && b.iFarewells == 1; }));
    a.channel.close();
    b.channel.close();
}

TEST(ShareMemoryWin32, AWriteMutexLeftByAnEndedThreadIsTakenOver)
{
    CLogLines log;
    const unsigned int uiKey = uniqueKey(2);
    const std::wstring strName = std::to_wstring(uiKey) + L"_Write";
    HANDLE hMutex = CreateMutexW(nullptr, FALSE, strName.c_str());
    ASSERT_NE(nullptr, hMutex);
    // Its owner ends without releasing it, as a process that dies would.
    std::thread([&] { WaitForSingleObject(hMutex, INFINITE); }).join();

    CReader reader;
    reader.channel.setListener(&reader);
    ASSERT_TRUE(reader.channel.open(uiKey, CShareMemory::MODE_TYPE_READER, 16));
    CShareMemory writer;
    ASSERT_TRUE(writer.open(uiKey, CShareMemory::MODE_TYPE_WRITER, 16));
    EXPECT_TRUE(writeWhenAllowed(writer, "after"));
    EXPECT_TRUE(pumpUntil([&] { return reader.aryBlocks == std::vector<std::string>{"after"}; }));
    EXPECT_TRUE(log.has(std::to_string(uiKey) + "_Write was abandoned by its owner; taken over."));
    writer.close();
    reader.channel.close();
    CloseHandle(hMutex);
}

TEST(ShareMemoryWin32, AChannelOfAnotherSizeIsRefused)
{
    CLogLines log;
    const unsigned int uiKey = uniqueKey(3);
    CShareMemory first;
    ASSERT_TRUE(first.open(uiKey, CShareMemory::MODE_TYPE_READER, 16));
    CShareMemory second;
    EXPECT_FALSE(second.open(uiKey, CShareMemory::MODE_TYPE_WRITER, 32));
    EXPECT_TRUE(log.has("the region exists with a size of 24 bytes, not 40; refused."));
    // The same size joins the live region.
    EXPECT_TRUE(second.open(uiKey, CShareMemory::MODE_TYPE_WRITER, 16));
    second.close();
    first.close();
}
