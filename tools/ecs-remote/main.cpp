// ecs-remote: drives a running engine over the data transfer protocol.
//
// It connects to the engine as a client (or listens as a server when the
// engine is the client), sends touch input, page and popup commands, an XML
// file as logic data or raw bytes, and prints every frame it receives as one
// line. It frames and reads frames itself, on the library's TCP endpoints,
// so that it can speak from either side: the library's own server side
// addresses its replies to client 0 and would not reach a peer.
//
// Output lines: "# ..." events, "> ..." what was sent, "< ..." what came in.

#include <document/CXMLElement.h>
#include <document/CXMLParser.h>
#include <ipc/CSocketClient.h>
#include <ipc/CSocketServer.h>
#include <ipc/ISocketClientListener.h>
#include <ipc/ISocketServerListener.h>
#include <message/CMessageCenter.h>
#include <text/CString.h>
#include <text/CStringConverter.h>
#include <timer/CTimerManager.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <unistd.h>

using namespace Trell;

namespace {

const char* const USAGE = "usage: ecs-remote [options] [command ...]\n"
                          "\n"
                          "Connects to 127.0.0.1:4000 (or listens with --listen), runs the commands in\n"
                          "order and prints every frame received as one line.\n"
                          "\n"
                          "options:\n"
                          "  --address A     server address to connect to (dotted IPv4, default 127.0.0.1)\n"
                          "  --port N        port (default 4000)\n"
                          "  --listen        listen for the engine instead of connecting\n"
                          "  --bind A        with --listen: the interface to listen on (default 127.0.0.1;\n"
                          "                  0.0.0.0 for every interface)\n"
                          "  --raw           no framing: send payloads as they are, print chunks as raw\n"
                          "  --timeout S     give up when not connected within S seconds (default 10)\n"
                          "  --for S         keep printing for S seconds after the commands (default 1;\n"
                          "                  0 ends at once, -1 runs until interrupted)\n"
                          "  --heartbeat     as a client, send the heartbeat every 5 s while connected\n"
                          "\n"
                          "commands:\n"
                          "  touch ID STATUS X Y [XDELTA YDELTA XSPEED YSPEED TIMESTAMP]\n"
                          "                  a touch_input (STATUS 1 press, 2 move, 3 release, 4 wheel)\n"
                          "  page HANDLE NAME    a page_cmd\n"
                          "  popup HANDLE NAME   a popup_cmd (the name goes out as \"page_name\")\n"
                          "  xml FILE        the XML file's document as logic data\n"
                          "  raw HEX         bytes as a raw payload, e.g. raw 01ff20\n"
                          "  hb              one heartbeat (0xAF 0x00) now\n"
                          "  wait MS         pause\n";

std::mutex g_printMutex;
std::atomic<bool> g_bInterrupted{false};
// The tool's own output; the library's console log goes to stderr.
std::FILE* g_pOut = stdout;

void printLine(const std::string& line)
{
    std::lock_guard<std::mutex> guard(g_printMutex);
    std::fwrite(line.data(), 1, line.size(), g_pOut);
    std::fputc('\n', g_pOut);
    std::fflush(g_pOut);
}

std::string toUtf8(const CString& text)
{
    if (text.length() == 0)
        return std::string();
    std::vector<unsigned char> bytes(3 * text.length() + 2);
    unsigned int uiWritten = 0;
    CStringConverter::convertToUTF8(text, bytes.data(), static_cast<unsigned int>(bytes.size()), &uiWritten);
    return std::string(reinterpret_cast<const char*>(bytes.data()), uiWritten);
}

CString fromUtf8(const std::string& text)
{
    CString out;
    CStringConverter::convertFromUTF8(reinterpret_cast<const unsigned char*>(text.c_str()), out);
    return out;
}

std::string hex(const std::string& bytes)
{
    static const char digits[] = "0123456789abcdef";
    std::string out;
    for (unsigned char c : bytes) {
        if (!out.empty())
            out += ' ';
        out += digits[c >> 4];
        out += digits[c & 15];
    }
    return out;
}

// XML text on one line: line breaks and tabs shown as escapes, the closing
// zero byte left out.
std::string oneLine(std::string text)
{
    while (!text.empty() && text.back() == '\0')
        text.pop_back();
    std::string out;
    for (char c : text) {
        if (c == '\n')
            out += "\\n";
        else if (c == '\r')
            out += "\\r";
        else if (c == '\t')
            out += "\\t";
        else if (c == '\0')
            out += "\\0";
        else
            out += c;
    }
    return out;
}

std::string describe(const std::string& payload, bool bXml, unsigned int uiType = 0)
{
    std::string line = "frame type=" + std::to_string(uiType) + " kind=" + (bXml ? "xml" : "raw") +
                       " length=" + std::to_string(payload.size());
    return line + (bXml ? " " + oneLine(payload) : (payload.empty() ? "" : " hex=" + hex(payload)));
}

std::string frame(const std::string& payload, bool bXml)
{
    std::string out = "IVEN";
    out += '\0';
    const unsigned int uiLength = static_cast<unsigned int>(payload.size());
    for (int i = 0; i < 4; ++i)
        out += static_cast<char>(uiLength >> (8 * i));
    out += static_cast<char>(bXml ? 1 : 0);
    return out + payload;
}

// Reassembles frames from the received byte stream and prints them; bytes
// that cannot start a frame are reported and dropped.
class CFrameReader
{
public:
    explicit CFrameReader(bool bRaw) : m_bRaw(bRaw) {}

    void reset() { m_buffer.clear(); }

    void feed(const unsigned char* pData, int iLength)
    {
        if (m_bRaw) {
            printLine("< raw length=" + std::to_string(iLength) +
                      " hex=" + hex(std::string(reinterpret_cast<const char*>(pData), iLength)));
            return;
        }
        m_buffer.append(reinterpret_cast<const char*>(pData), static_cast<size_t>(iLength));
        for (;;) {
            if (m_buffer.size() < 4)
                return;
            if (m_buffer.compare(0, 4, "IVEN") != 0) {
                printLine("< garbage length=" + std::to_string(m_buffer.size()) + " (dropped)");
                m_buffer.clear();
                return;
            }
            if (m_buffer.size() < 10)
                return;
            unsigned int uiLength = 0;
            for (int i = 3; i >= 0; --i)
                uiLength = uiLength << 8 | static_cast<unsigned char>(m_buffer[5 + i]);
            const unsigned int uiType = static_cast<unsigned char>(m_buffer[4]);
            if (uiLength > MAX_LENGTH) {
                printLine("< frame length=" + std::to_string(uiLength) + " too long (dropped)");
                m_buffer.clear();
                return;
            }
            if (m_buffer.size() < 10 + static_cast<size_t>(uiLength))
                return;
            printLine("< " + describe(m_buffer.substr(10, uiLength), m_buffer[9] == 1, uiType));
            m_buffer.erase(0, 10 + static_cast<size_t>(uiLength));
        }
    }

private:
    static const unsigned int MAX_LENGTH = 16u * 1024u * 1024u;
    bool m_bRaw;
    std::string m_buffer;
};

// One endpoint, client or server, with what the commands need.
class CEndpoint : public ISocketClientListener, public ISocketServerListener
{
    TRELL_DECLARE_ALLOCATOR(u"CEndpoint")

public:
    CEndpoint(bool bRaw) : m_reader(bRaw) {}

    void onConnect(CSocketClient*) override { connected("# connected"); }
    void onDisconnect(CSocketClient*) override { disconnected(); }
    void onDataAvailable(CSocketClient*, unsigned char* pData, int iLength) override { m_reader.feed(pData, iLength); }
    void onConnect(CSocketServer*, unsigned int uiClient) override
    {
        m_uiClient.store(uiClient);
        connected("# client connected");
    }
    void onDisconnect(CSocketServer*, unsigned int uiClient) override
    {
        if (uiClient != CSocketServer::NO_CLIENT)
            disconnected();
    }
    void onDataAvailable(CSocketServer*, unsigned int, unsigned char* pData, int iLength) override
    {
        m_reader.feed(pData, iLength);
    }

    bool isConnected() const { return m_bConnected.load(); }

    // The whole buffer, however many send calls it takes.
    bool send(const std::string& bytes)
    {
        size_t sent = 0;
        while (sent < bytes.size()) {
            const unsigned char* p = reinterpret_cast<const unsigned char*>(bytes.data()) + sent;
            const unsigned int n = static_cast<unsigned int>(bytes.size() - sent);
            const int iResult = m_pClient ? m_pClient->sendData(p, n) : m_pServer->sendData(p, n, m_uiClient.load());
            if (iResult <= 0)
                return false;
            sent += static_cast<size_t>(iResult);
        }
        return true;
    }

    std::unique_ptr<CSocketClient> m_pClient;
    std::unique_ptr<CSocketServer> m_pServer;

private:
    void connected(const char* pszLine)
    {
        m_reader.reset();
        m_bConnected.store(true);
        printLine(pszLine);
    }
    void disconnected()
    {
        if (m_bConnected.exchange(false))
            printLine("# disconnected");
    }

    CFrameReader m_reader;
    std::atomic<bool> m_bConnected{false};
    std::atomic<unsigned int> m_uiClient{CSocketServer::NO_CLIENT};
};

// Standard output keeps the tool's lines only: the library prints its log
// on the console, so the console's descriptor is pointed at stderr and the
// tool writes to a copy of the original.
void separateOutput()
{
    std::fflush(stdout);
    const int iOut = ::dup(STDOUT_FILENO);
    if (iOut < 0)
        return;
    if (std::FILE* pOut = ::fdopen(iOut, "w")) {
        g_pOut = pOut;
        ::dup2(STDERR_FILENO, STDOUT_FILENO);
    } else {
        ::close(iOut);
    }
}

std::string document(const char16_t* pszCommand, const std::vector<std::pair<const char16_t*, CString>>& attributes)
{
    CXMLParser parser;
    parser.create(CXMLParser::XML_ENCODING_UTF8);
    CXMLElement* pCommand = parser.addRootElement(u"root")->addChild(pszCommand);
    for (const auto& attribute : attributes)
        pCommand->setAttribute(attribute.first, attribute.second);
    CString text;
    parser.saveToString(text, false);
    return toUtf8(text) + '\0';
}

bool isNumber(const char* psz)
{
    char* pEnd = nullptr;
    std::strtoll(psz, &pEnd, 10);
    return *psz != '\0' && *pEnd == '\0';
}

// Pops and handles queued messages (the heartbeat timer is delivered so).
void pump()
{
    while (CObjectPtr<CBaseMessage> pMessage = CMessageCenter::getInstance()->popMessage())
        pMessage->handleMessage();
}

// Runs the main loop for up to `seconds` (-1: until interrupted), or until
// the condition holds.
template <class TCondition>
bool runFor(double seconds, TCondition condition)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds < 0 ? 0 : seconds);
    for (;;) {
        pump();
        if (condition())
            return true;
        if (g_bInterrupted.load() || (seconds >= 0 && std::chrono::steady_clock::now() >= end))
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

struct tagOptions
{
    std::string address = "127.0.0.1";
    std::string bind = "127.0.0.1";
    unsigned int uiPort = 4000;
    bool bListen = false;
    bool bRaw = false;
    bool bHeartBeat = false;
    double timeout = 10;
    double stay = 1;
    std::vector<std::string> commands;
};

int usage(const char* pszProblem)
{
    if (pszProblem)
        std::fprintf(stderr, "ecs-remote: %s\n\n", pszProblem);
    std::fputs(USAGE, pszProblem ? stderr : stdout);
    return pszProblem ? 1 : 0;
}

// Runs the commands; 0 when all went out. A dry run (no endpoint) only
// checks them.
int runCommands(CEndpoint* pEndpoint, const tagOptions& options)
{
    const std::vector<std::string>& c = options.commands;
    for (size_t i = 0; i < c.size();) {
        const std::string& name = c[i];
        const size_t left = c.size() - i - 1;
        std::string payload;
        bool bXml = true;
        size_t used = 1;
        if (name == "touch" && left >= 4) {
            const char16_t* names[] = {u"id",      u"touch_status", u"x",       u"y",         u"x_delta",
                                       u"y_delta", u"x_speed",      u"y_speed", u"time_stamp"};
            std::vector<std::pair<const char16_t*, CString>> attributes;
            size_t n = 0;
            while (n < 9 && n < left && isNumber(c[i + 1 + n].c_str())) {
                attributes.push_back({names[n], fromUtf8(c[i + 1 + n])});
                ++n;
            }
            if (n < 4)
                return usage("touch needs ID STATUS X Y");
            for (size_t k = n; k < 9; ++k)
                attributes.push_back({names[k], u"0"});
            payload = document(u"touch_input", attributes);
            used += n;
        } else if ((name == "page" || name == "popup") && left >= 2 && isNumber(c[i + 1].c_str())) {
            payload = document(name == "page" ? u"page_cmd" : u"popup_cmd",
                               {{u"ope_handle", fromUtf8(c[i + 1])}, {u"page_name", fromUtf8(c[i + 2])}});
            used += 2;
        } else if (name == "xml" && left >= 1) {
            CXMLParser parser;
            CString text;
            if (!parser.parseFromFile(fromUtf8(c[i + 1])) || !parser.saveToString(text, false)) {
                std::fprintf(stderr, "ecs-remote: cannot read the XML file %s\n", c[i + 1].c_str());
                return 3;
            }
            payload = toUtf8(text) + '\0';
            used += 1;
        } else if (name == "raw" && left >= 1) {
            const std::string& digits = c[i + 1];
            if (digits.size() % 2 != 0 || digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos)
                return usage("raw needs an even number of hex digits");
            for (size_t k = 0; k < digits.size(); k += 2)
                payload += static_cast<char>(std::strtol(digits.substr(k, 2).c_str(), nullptr, 16));
            bXml = false;
            used += 1;
        } else if (name == "hb") {
            if (pEndpoint && !pEndpoint->send(std::string("\xAF\x00", 2)))
                return 3;
            if (pEndpoint)
                printLine("> heartbeat");
            i += 1;
            continue;
        } else if (name == "wait" && left >= 1 && isNumber(c[i + 1].c_str())) {
            if (pEndpoint)
                runFor(std::atof(c[i + 1].c_str()) / 1000.0, [] { return false; });
            i += 2;
            continue;
        } else {
            return usage(("unknown or incomplete command: " + name).c_str());
        }
        i += used;
        if (!pEndpoint)
            continue;
        const std::string bytes = options.bRaw ? payload : frame(payload, bXml);
        if (!pEndpoint->send(bytes)) {
            std::fprintf(stderr, "ecs-remote: send failed\n");
            return 3;
        }
        printLine(options.bRaw ? "> raw length=" + std::to_string(payload.size()) + " hex=" + hex(payload)
                               : "> " + describe(payload, bXml));
    }
    return 0;
}

extern "C" void onInterrupt(int)
{
    g_bInterrupted.store(true);
}

} // namespace

int main(int argc, char** argv)
{
    tagOptions options;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const bool bHasValue = i + 1 < argc;
        if (arg == "--help" || arg == "-h")
            return usage(nullptr);
        if (arg == "--listen")
            options.bListen = true;
        else if (arg == "--raw")
            options.bRaw = true;
        else if (arg == "--heartbeat")
            options.bHeartBeat = true;
        else if (arg == "--address" && bHasValue)
            options.address = argv[++i];
        else if (arg == "--bind" && bHasValue)
            options.bind = argv[++i];
        else if (arg == "--port" && bHasValue && isNumber(argv[i + 1]))
            options.uiPort = static_cast<unsigned int>(std::atoi(argv[++i]));
        else if (arg == "--timeout" && bHasValue)
            options.timeout = std::atof(argv[++i]);
        else if (arg == "--for" && bHasValue)
            options.stay = std::atof(argv[++i]);
        else if (arg.compare(0, 2, "--") == 0)
            return usage(("unknown option " + arg).c_str());
        else
            options.commands.push_back(arg);
    }
    if (options.uiPort == 0 || options.uiPort > 65535)
        return usage("the port must be 1 to 65535");
    if (const int iChecked = runCommands(nullptr, options))
        return iChecked;

    std::signal(SIGINT, onInterrupt);
    std::signal(SIGTERM, onInterrupt);
    separateOutput();
    CMessageCenter::getInstance();
    CTimerManager::getInstance()->start();

    CEndpoint endpoint(options.bRaw);
    if (options.bListen) {
        endpoint.m_pServer = std::make_unique<CSocketServer>(options.uiPort, 0);
        endpoint.m_pServer->setThreadName(u"ecs-remote");
        endpoint.m_pServer->setBindAddress(options.bind == "0.0.0.0" ? CString() : fromUtf8(options.bind));
        endpoint.m_pServer->setListener(&endpoint);
        endpoint.m_pServer->start();
        printLine("# listening on " + options.bind + ":" + std::to_string(options.uiPort));
    } else {
        endpoint.m_pClient = std::make_unique<CSocketClient>(fromUtf8(options.address), options.uiPort, true, 0);
        endpoint.m_pClient->setThreadName(u"ecs-remote");
        endpoint.m_pClient->setNeedSendHB(options.bHeartBeat);
        endpoint.m_pClient->setListener(&endpoint);
        endpoint.m_pClient->start(true);
        printLine("# connecting to " + options.address + ":" + std::to_string(options.uiPort));
    }

    int iResult = 2;
    if (runFor(options.timeout, [&] { return endpoint.isConnected(); })) {
        iResult = runCommands(&endpoint, options);
        if (iResult == 0)
            runFor(options.stay, [] { return false; });
    } else if (!g_bInterrupted.load()) {
        std::fprintf(stderr, "ecs-remote: not connected within %g s\n", options.timeout);
    }

    if (endpoint.m_pClient)
        endpoint.m_pClient->stop();
    if (endpoint.m_pServer)
        endpoint.m_pServer->stop();
    pump();
    CTimerManager::getInstance()->stop();
    CTimerManager::deleteInstance();
    CMessageCenter::deleteInstance();
    return iResult;
}
