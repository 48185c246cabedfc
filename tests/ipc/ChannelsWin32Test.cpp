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

#include <mutex>
#include <string>
#include <thread>

#include <windows.h>

using namespace Trell;
using namespace std::chrono_literals;

namespace {

// Everything heard, as text: the log's messages, the endpoints' events and
// the data a client receives; a server's listener echoes each chunk from the
// receiving thread, as a host answers.
struct CHeard : ILogOuter, ISocketServerListener, ISocketClientListener
{
    TRELL_DECLARE_ALLOCATOR(u"CHeard")

    CHeard() { CLog::setLogOuter(this); }
    ~CHeard() override { CLog::setLogOuter(nullptr); }
    void outputLog(const CString&, const CString&, const CString& message) override { add(narrow(message)); }
    void onConnect(CSocketServer*, unsigned int) override { add("<server connect>"); }
    void onDisconnect(CSocketServer*, unsigned int) override { add("<server disconnect>"); }
    void onDataAvailable(CSocketServer* pServer, unsigned int uiClient, unsigned char* pData, int iLength) override
    {
        pServer->sendData(pData, static_cast<unsigned int>(iLength), uiClient);
    }
    void onConnect(CSocketClient*) override { add("<client connect>"); }
    void onDisconnect(CSocketClient*) override { add("<client disconnect>"); }
    void onDataAvailable(CSocketClient*, unsigned char* pData, int iLength) override
    {
        add("<received " + std::string(reinterpret_cast<char*>(pData), iLength) + ">");
    }
    bool has(const std::string& text)
    {
        return waitUntil(
            [&] {
                std::lock_guard<std::mutex> guard(mutex);
                return strText.find(text) != std::string::npos;
            },
            20s);
    }
    void add(const std::string& line)
    {
        std::lock_guard<std::mutex> guard(mutex);
        strText += line + "\n";
    }
    std::mutex mutex;
    std::string strText;
};

} // namespace

// An echo; the stops end the endpoint threads' waits (the client's in its
// receive, the server's in accept). Then nothing listens on the port: the
// refused connect logs Winsock's code.
TEST(SocketsWin32, ExchangeStopAndRefusal)
{
    CHeard heard;
    CSocketServer server(0, 0);
    server.setBindAddress(u"127.0.0.1");
    server.setListener(&heard);
    server.start();
    ASSERT_TRUE(waitUntil([&] { return server.getListeningPort() != 0; }, 20s));
    CSocketClient client(CString(u"127.0.0.1"), server.getListeningPort(), true, 0);
    client.setListener(&heard);
    client.start(false);
    ASSERT_TRUE(heard.has("<client connect>") && heard.has("<server connect>"));
    EXPECT_EQ(4, client.sendData(reinterpret_cast<const unsigned char*>("ping"), 4));
    EXPECT_TRUE(heard.has("<received ping>"));
    client.stop();
    EXPECT_FALSE(client.isConnect());
    EXPECT_TRUE(heard.has("<server disconnect>"));
    server.stop();
    EXPECT_EQ(0u, server.getListeningPort());

    client.start(false);
    EXPECT_TRUE(heard.has("server, error code=" + std::to_string(WSAECONNREFUSED) + "."));
    client.stop();
}

// A "_Write" mutex whose owner ended without releasing it, as a process that
// dies leaves it, is taken over; a channel of another size is refused; the
// block and the farewell reach the reader, handled on this thread.
TEST(ShareMemoryWin32, AbandonedMutexAndMisSizedChannel)
{
    CHeard heard;
    const unsigned int uiKey = (GetCurrentProcessId() & 0xFFFF) * 16 + 1;
    HANDLE hMutex = CreateMutexW(nullptr, FALSE, (std::to_wstring(uiKey) + L"_Write").c_str());
    ASSERT_NE(nullptr, hMutex);
    std::thread([&] { WaitForSingleObject(hMutex, INFINITE); }).join();

    struct CReader : IShareMemoryListener
    {
        void onWritterClose() override { blocks += "<farewell>"; }
        void onDataAvailable() override
        {
            std::string strBlock(channel.getSize(), '\0');
            channel.readData(reinterpret_cast<unsigned char*>(&strBlock[0]), channel.getSize());
            blocks += strBlock;
        }
        CShareMemory channel;
        std::string blocks;
    } reader;
    reader.channel.setListener(&reader);
    ASSERT_TRUE(reader.channel.open(uiKey, CShareMemory::MODE_TYPE_READER, 16));
    CShareMemory writer;
    EXPECT_FALSE(writer.open(uiKey, CShareMemory::MODE_TYPE_WRITER, 32));
    EXPECT_TRUE(heard.has("the region exists with a size of 24 bytes, not 40; refused."));
    ASSERT_TRUE(writer.open(uiKey, CShareMemory::MODE_TYPE_WRITER, 16));
    // The main loop of a host, until the condition holds.
    auto pumpUntil = [](auto condition) {
        return waitUntil(
            [&] {
                while (CObjectPtr<CBaseMessage> pMessage = CMessageCenter::getInstance()->popMessage())
                    pMessage->handleMessage();
                return condition();
            },
            20s);
    };
    EXPECT_TRUE(pumpUntil([&] { return writer.writeData(reinterpret_cast<const unsigned char*>("after"), 5); }));
    EXPECT_TRUE(pumpUntil([&] { return reader.blocks == "after"; }));
    EXPECT_TRUE(heard.has(std::to_string(uiKey) + "_Write was abandoned by its owner; taken over."));
    writer.close();
    EXPECT_TRUE(pumpUntil([&] { return reader.blocks == "after<farewell>"; }));
    reader.channel.close();
    CloseHandle(hMutex);
}
