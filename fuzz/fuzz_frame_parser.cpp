// The data transfer's frame parser (parseData) fed arbitrary chunk
// sequences, against a plain reference reassembler: the same payloads must
// come out, in order per message type, and the same bytes must be held back.
//
// Input: one control byte (bit 0: raw mode; the rest picks the maximum frame
// length), then chunks, each a length byte (1 + value % 64) and its bytes.

#include <document/CXMLElement.h>
#include <document/CXMLParser.h>
#include <ipc/CDataTransfer.h>
#include <ipc/CMsgDataTransfer.h>
#include <ipc/IDataTransferListener.h>
#include <message/CMessageCenter.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "FuzzCheck.h"

using namespace Trell;

namespace {

struct tagPayload
{
    bool bXml;
    std::string bytes;
};

// The reassembly rules, written out plainly on a string.
class CReference
{
public:
    unsigned int uiMax = 0;
    std::string pending;
    std::vector<tagPayload> out;

    void feed(const std::string& chunk)
    {
        pending += chunk;
        size_t remaining = pending.size(), at = 0, keep = 0;
        while (remaining > 4) {
            if (pending.size() - at < 4 || pending.compare(at, 4, "IVEN") != 0)
                return pending.clear();
            const size_t start = at;
            at += 4;
            if (at == pending.size())
                return cut(start);
            if (pending[at++] != 0)
                continue;
            if (remaining < 10 || pending.size() - start < 10)
                return cut(start);
            unsigned int uiLength = 0;
            for (int i = 3; i >= 0; --i)
                uiLength = uiLength << 8 | static_cast<unsigned char>(pending[start + 5 + i]);
            if (uiLength == 0 || uiLength > uiMax)
                return pending.clear();
            if (pending.size() - start - 10 < uiLength)
                return cut(start);
            out.push_back({pending[start + 9] == 1, pending.substr(start + 10, uiLength)});
            at = keep = start + 10 + uiLength;
            remaining = remaining > 10 + uiLength ? remaining - 10 - uiLength : 0;
        }
        cut(keep);
    }

private:
    void cut(size_t from) { pending.erase(0, from); }
};

// What one payload turns into at the listener, as text; empty for nothing.
std::string heard(const tagPayload& payload, bool& bCommand)
{
    bCommand = false;
    if (!payload.bXml)
        return "raw " + payload.bytes;
    std::string text = payload.bytes;
    text += '\0';
    CXMLParser document;
    if (!document.parseFromStream(reinterpret_cast<const unsigned char*>(text.c_str())))
        return std::string();
    CXMLElement* pRoot = document.getRootElement();
    bCommand = pRoot->hasChild(u"touch_input") || pRoot->hasChild(u"page_cmd") || pRoot->hasChild(u"popup_cmd");
    return "doc";
}

class CHarness : public CDataTransfer, public IDataTransferListener
{
    TRELL_DECLARE_ALLOCATOR(u"CHarness")

public:
    CHarness()
    {
        CMessageCenter::getInstance();
        CDataTransfer::setListener(this);
        // Port 1 refuses: the client only retries in the background, but its
        // existence lets received data through.
        openAsClient(u"127.0.0.1", 1);
    }
    using CDataTransfer::onDisconnect;
    using CDataTransfer::parseData;

    // Everything heard since the last call, split by the queue it took.
    void drain(std::vector<std::string>& commands, std::vector<std::string>& data)
    {
        m_pCommands = &commands;
        m_pData = &data;
        while (CObjectPtr<CBaseMessage> pMessage = CMessageCenter::getInstance()->popMessage()) {
            m_bCommand = pMessage->getType() == CBaseMessage::MESSAGE_TYPE_TOUCH;
            pMessage->handleMessage();
        }
    }

    void onTouchInputAvailable(const CCursor&) override { record("doc"); }
    void onPageCMDAvailable(EOperationHandle, CString) override { record("doc"); }
    void onPopupCMDAvailable(EOperationHandle, CString) override { record("doc"); }
    void onLogicDataAvailable(CXMLParser*) override { record("doc"); }
    void onLogicDataAvailable(CArrayPtr<unsigned char> bytes) override
    {
        record("raw " + std::string(reinterpret_cast<const char*>(bytes.get()), bytes.getCount()));
    }

private:
    void record(const std::string& text) { (m_bCommand ? m_pCommands : m_pData)->push_back(text); }

    std::vector<std::string>* m_pCommands = nullptr;
    std::vector<std::string>* m_pData = nullptr;
    bool m_bCommand = false;
};

CHarness* s_pHarness = nullptr;

// The client's thread must end before the library's static objects go.
void deleteHarness()
{
    delete s_pHarness;
    s_pHarness = nullptr;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (!s_pHarness) {
        s_pHarness = new CHarness();
        std::atexit(deleteHarness);
    }
    CHarness& harness = *s_pHarness;
    if (size == 0)
        return 0;
    // A disconnect empties the pending bytes: every input starts a stream.
    harness.onDisconnect(static_cast<CSocketClient*>(nullptr));
    std::vector<std::string> ignored;
    harness.drain(ignored, ignored);

    const bool bRaw = (data[0] & 1) != 0;
    CReference reference;
    reference.uiMax = 1u + (data[0] >> 1) * 97u;
    harness.setRawConnection(bRaw);
    harness.setMaxFrameLength(reference.uiMax);

    std::vector<std::string> expectedCommands, expectedData;
    size_t at = 1;
    while (at < size) {
        const size_t length = 1 + data[at++] % 64;
        const std::string chunk(reinterpret_cast<const char*>(data + at), std::min(length, size - at));
        at += chunk.size();
        if (chunk.empty())
            break;
        harness.parseData(reinterpret_cast<const unsigned char*>(chunk.data()),
                          static_cast<unsigned int>(chunk.size()));
        if (bRaw) {
            expectedData.push_back("raw " + chunk);
            continue;
        }
        reference.feed(chunk);
        FUZZ_CHECK(harness.getPendingSize() == reference.pending.size());
        FUZZ_CHECK(harness.getPendingSize() < reference.uiMax + CDataTransfer::FRAME_HEADER_SIZE);
    }
    for (const tagPayload& payload : reference.out) {
        bool bCommand = false;
        const std::string text = heard(payload, bCommand);
        if (!text.empty())
            (bCommand ? expectedCommands : expectedData).push_back(text);
    }
    std::vector<std::string> commands, received;
    harness.drain(commands, received);
    FUZZ_CHECK(commands == expectedCommands);
    FUZZ_CHECK(received == expectedData);
    return 0;
}
