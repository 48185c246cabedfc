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

// Every log message, and whether one holds a text.
class CLogLines : public ILogOuter
{
public:
    CLogLines() { CLog::setLogOuter(this); }
    ~CLogLines() override { CLog::setLogOuter(nullptr); }
    void outputLog(const CString&, const CString&, const CString& message) override
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        m_text += narrow(message) + "\n";
    }
    bool has(const std::string& text)
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        return m_text.find(text) != std::string::npos;
    }

private:
    std::mutex m_mutex;
    std::string m_text;
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

// An echo; the stops end the endpoint threads' waits (the client's in its
// receive, the server's in accept). Then nothing listens on the port: the
// refused connect logs Winsock's code.
TEST(SocketsWin32, ExchangeStopAndRefusal)
{
    CLogLines log;
    CEvents serverEvents, clientEvents;
    CSocketServer server(0, 0);
    server.setBindAddress(u"127.0.0.1");
    server.setListener(&serverEvents);
    server.start();
    ASSERT_TRUE(waitUntil([&] { return server.getListeningPort() != 0; }, 20s));
    const unsigned int uiPort = server.getListeningPort();
    {
        CSocketClient client(CString(u"127.0.0.1"), uiPort, true, 0);
        client.setListener(&clientEvents);
        client.start(false);
        ASSERT_TRUE(waitUntil([&] { return clientEvents.iConnects == 1 && serverEvents.iConnects == 1; }, 20s));
        EXPECT_EQ(4, client.sendData(bytesOf("ping"), 4));
        ASSERT_TRUE(waitUntil([&] { return clientEvents.received() == "ping"; }, 20s));
        client.stop();
        EXPECT_FALSE(client.isConnect());
        ASSERT_TRUE(waitUntil([&] { return serverEvents.iDisconnects == 1; }, 20s));
    }
    server.stop();
    EXPECT_EQ(0u, server.getListeningPort());

    CSocketClient client(CString(u"127.0.0.1"), uiPort, true, 0);
    client.setListener(&clientEvents);
    client.start(false);
    EXPECT_TRUE(waitUntil([&] { return log.has("server, error code=" + std::to_string(WSAECONNREFUSED) + "."); }, 20s));
    client.stop();
    EXPECT_EQ(1, clientEvents.iConnects.load());
}

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

// A "_Write" mutex whose owner ended without releasing it, as a process that
// dies leaves it, is taken over; a channel of another size is refused; two
// readers get every block and the farewell, handled on this thread.
TEST(ShareMemoryWin32, AbandonedMutexMisSizedChannelAndTwoReaders)
{
    CLogLines log;
    const unsigned int uiKey = (GetCurrentProcessId() & 0xFFFF) * 16 + 1;
    HANDLE hMutex = CreateMutexW(nullptr, FALSE, (std::to_wstring(uiKey) + L"_Write").c_str());
    ASSERT_NE(nullptr, hMutex);
    std::thread([&] { WaitForSingleObject(hMutex, INFINITE); }).join();

    CReader a, b;
    a.channel.setListener(&a);
    b.channel.setListener(&b);
    ASSERT_TRUE(a.channel.open(uiKey, CShareMemory::MODE_TYPE_READER, 16));
    ASSERT_TRUE(b.channel.open(uiKey, CShareMemory::MODE_TYPE_READER, 16));
    CShareMemory writer;
    EXPECT_FALSE(writer.open(uiKey, CShareMemory::MODE_TYPE_WRITER, 32));
    EXPECT_TRUE(log.has("the region exists with a size of 24 bytes, not 40; refused."));
    ASSERT_TRUE(writer.open(uiKey, CShareMemory::MODE_TYPE_WRITER, 16));
    const std::vector<std::string> aryExpected = {"first", "second"};
    auto pumpUntil = [](auto condition) {
        return waitUntil(
            [&] {
                while (CObjectPtr<CBaseMessage> pMessage = CMessageCenter::getInstance()->popMessage())
                    pMessage->handleMessage();
                return condition();
            },
            20s);
    };
    for (const std::string& strBlock : aryExpected)
        ASSERT_TRUE(
            pumpUntil([&] { return writer.writeData(bytesOf(strBlock), static_cast<unsigned int>(strBlock.size())); }));
    EXPECT_TRUE(pumpUntil([&] { return a.aryBlocks.size() == 2 && b.aryBlocks.size() == 2; }));
    EXPECT_EQ(aryExpected, a.aryBlocks);
    EXPECT_EQ(aryExpected, b.aryBlocks);
    EXPECT_TRUE(log.has(std::to_string(uiKey) + "_Write was abandoned by its owner; taken over."));
    writer.close();
    EXPECT_TRUE(pumpUntil([&] { return a.iFarewells == 1 && b.iFarewells == 1; }));
    a.channel.close();
    b.channel.close();
    CloseHandle(hMutex);
}
