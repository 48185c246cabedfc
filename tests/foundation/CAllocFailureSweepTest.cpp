// Allocation-failure sweeps: each operation runs with its first allocation
// refused, then its second, its third ... until a run sees no refusal. A run
// must end in a clean failure (false, empty, or the value it had before) or
// in the right result, never in a wrong one, and must leave no block behind.
// Each N is swept twice: refusing every allocation from the N-th on, and
// refusing the N-th only (so error paths that allocate run too).

#include <configuration/CConfigParser.h>
#include <document/CXMLElement.h>
#include <document/CXMLParser.h>
#include <message/CMessageCenter.h>
#include <message/CMessages.h>
#include <text/CString.h>
#include <text/CStringConverter.h>

#include "foundation/MemTestSupport.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>

using namespace Trell;

namespace {

enum EOutcome
{
    OUTCOME_FAILED, // refused cleanly
    OUTCOME_DONE,   // the right result
    OUTCOME_WRONG,  // claims success, or changed state, with a wrong result
};

// Judges a run: called once the operation is over, it first lets further
// allocations through, since inspecting the result allocates too.
EOutcome verdict(bool ok, const std::function<bool()>& right)
{
    MemTesting::stopRefusingAllocations();
    return !ok ? OUTCOME_FAILED : (right() ? OUTCOME_DONE : OUTCOME_WRONG);
}

// A string edit takes effect, or leaves the string as it was, or (the
// string's way of failing) leaves it null. The comparisons do not allocate.
EOutcome edited(const CString& text, const char16_t* before, const char16_t* after)
{
    if (text.compare(after) == 0)
        return OUTCOME_DONE;
    return (!text.buffer() || text.compare(before) == 0) ? OUTCOME_FAILED : OUTCOME_WRONG;
}

std::string tempPath(const char* name)
{
    return "/tmp/ecs-sweep-" + std::to_string(::getpid()) + "-" + name;
}

CString widen(const std::string& text)
{
    return CString(std::u16string(text.begin(), text.end()).c_str());
}

const char16_t XML_TEXT[] =
    u"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    u"<root version=\"2\"><item id=\"1\" name=\"first\">one</item><item id=\"2\"><deep a=\"&lt;\"/></item>"
    u"<note>caf\u00e9 &amp; more</note></root>\n";

const char CONFIG_TEXT[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                           "<engine_config use_for_studio=\"true\">\n"
                           "  <log_output terminal=\"false\" file_size=\"0x8000\" file_path_win=\"/abs/engine.log\"/>\n"
                           "  <thread_set><thread id=\"tm\" name=\"Timer\" priority=\"7\"/></thread_set>\n"
                           "  <surface_set><surface use=\"true\" name=\"main\" width=\"800\" height=\"480\"/>"
                           "<surface name=\"spare\"/></surface_set>\n"
                           "  <touch_param waver_distance=\"41\"/>\n"
                           "</engine_config>\n";

CXMLParser* g_pSavedDocument = nullptr;

struct tagOperation
{
    const char* name;
    std::function<EOutcome()> run;
};

std::vector<tagOperation> operations()
{
    return {
        {"xml parse file",
         [] {
             // The same tree as the text it was written from, read from UTF-16.
             CXMLParser parser;
             const bool ok = parser.parseFromFile(widen(tempPath("in.xml")));
             return verdict(ok, [&] {
                 CXMLParser reference;
                 CString text, expected;
                 return reference.parseFromString(CString(XML_TEXT)) && reference.saveToString(expected, false) &&
                        parser.saveToString(text, false) && text.compare(expected.buffer()) == 0;
             });
         }},
        {"xml save",
         [] {
             // The document is parsed by the first, unhooked run and kept:
             // only the saving is swept.
             static std::u16string s_expected;
             if (!g_pSavedDocument) {
                 g_pSavedDocument = new CXMLParser();
                 g_pSavedDocument->parseFromString(CString(XML_TEXT));
             }
             CString text;
             const bool ok = g_pSavedDocument->saveToString(text, true) &&
                             g_pSavedDocument->saveToFile(widen(tempPath("out.xml")), true);
             if (s_expected.empty() && ok)
                 s_expected = text.buffer();
             return verdict(ok, [&] {
                 return text.compare(s_expected.c_str()) == 0 && std::ifstream(tempPath("out.xml")).peek() != EOF;
             });
         }},
        {"configuration load",
         [] {
             CConfigParser* config = CConfigParser::getInstance();
             if (!config)
                 return OUTCOME_FAILED;
             const bool ok = config->load(widen(tempPath("engine.xml")));
             const EOutcome outcome = verdict(ok, [&] {
                 const CConfigParser::tagSurface* main = config->getSurfaceByIndex(0);
                 return config->isUsedForStudio() && config->getSurfaceCount() == 2 && main && main->width == 800 &&
                        main->name.compare(u"main") == 0 && config->getTouchParam()->waver_distance == 41 &&
                        config->getThread()->getPriority(u"tm") == 7;
             });
             CConfigParser::deleteInstance();
             return outcome;
         }},
        {"configuration save",
         [] {
             // Loaded in the same run, so the load's allocations are refused
             // too; each save turns the switch over, so a save that writes
             // nothing shows.
             CConfigParser* config = CConfigParser::getInstance();
             bool ok = config && config->load(widen(tempPath("engine.xml")));
             const bool bMerge = ok && !config->isMergeWindow();
             if (ok) {
                 config->setMergeWindow(bMerge);
                 ok = config->save();
             }
             const EOutcome outcome = verdict(ok, [&] {
                 std::ifstream file(tempPath("engine.xml"));
                 const std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
                 return (text.find("merge_window=\"true\"") != std::string::npos) == bMerge &&
                        text.find("waver_distance=\"41\"") != std::string::npos;
             });
             CConfigParser::deleteInstance();
             return outcome;
         }},
        {"string editing",
         [] {
             CString text(u"alpha beta");
             if (!text.buffer())
                 return OUTCOME_FAILED;
             text.append(u" gamma");
             EOutcome outcome = edited(text, u"alpha beta", u"alpha beta gamma");
             if (outcome != OUTCOME_DONE)
                 return outcome;
             text.insertString(6, u"and ");
             if ((outcome = edited(text, u"alpha beta gamma", u"alpha and beta gamma")) != OUTCOME_DONE)
                 return outcome;
             text.replaceAll(u"a", u"AA");
             if ((outcome = edited(text, u"alpha and beta gamma", u"AAlphAA AAnd betAA gAAmmAA")) != OUTCOME_DONE)
                 return outcome;
             const CString copy = text.subString(2, 5);
             return verdict(copy.buffer() != nullptr, [&] { return copy.compare(u"lphAA") == 0; });
         }},
        {"string conversion",
         [] {
             CString decoded;
             CStringConverter::convertFromUTF8(reinterpret_cast<const unsigned char*>("caf\xC3\xA9 \xE2\x82\xAC"),
                                               decoded);
             if (decoded.length() == 0)
                 return OUTCOME_FAILED;
             if (decoded.compare(u"caf\u00e9 \u20ac") != 0)
                 return OUTCOME_WRONG;
             const CString formatted = CStringConverter::format(u"%ls=%d (%.2f)", decoded.buffer(), 42, 1.5);
             return verdict(formatted.length() != 0,
                            [&] { return formatted.compare(u"caf\u00e9 \u20ac=42 (1.50)") == 0; });
         }},
        {"message push and pop",
         [] {
             CMessageCenter* center = CMessageCenter::getInstance();
             if (!center)
                 return OUTCOME_FAILED;
             static const CString s_text(u"typed text");
             center->pushIMEMessage(s_text);
             CObjectPtr<CBaseMessage> message = center->popMessage();
             return verdict(message.get() != nullptr, [&] {
                 const CMsgIME* ime = dynamic_cast<const CMsgIME*>(message.get());
                 return ime && ime->getText().compare(u"typed text") == 0 && !center->popMessage();
             });
         }},
    };
}

TEST(CAllocFailureSweep, EveryRefusedAllocationEndsCleanly)
{
    MemTest::tagHookGuard guard;
    std::ofstream(tempPath("in.xml"), std::ios::binary) << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                                           "<root version=\"2\"><item id=\"1\" name=\"first\">one"
                                                           "</item><item id=\"2\"><deep a=\"&lt;\"/></item>"
                                                           "<note>caf\xC3\xA9 &amp; more</note></root>\n";
    std::ofstream(tempPath("engine.xml"), std::ios::binary) << CONFIG_TEXT;
    for (const tagOperation& operation : operations()) {
        // A run without refusals first: it must succeed, and it makes the
        // singletons and caches the operation keeps between runs.
        if (operation.run() != OUTCOME_DONE) {
            ADD_FAILURE() << operation.name << " fails without any refusal";
            continue;
        }
        for (const int failures : {-1, 1}) {
            for (int n = 0;; ++n) {
                MemTesting::failAllocationsAfter(n, failures);
                const EOutcome outcome = operation.run();
                const unsigned int refused = MemTesting::getRefusedAllocations();
                const long long balance = MemTesting::getAllocationBalance();
                MemTesting::failAllocationsAfter(-1);
                EXPECT_NE(outcome, OUTCOME_WRONG) << operation.name << ", allocation " << n + 1 << " refused";
                EXPECT_EQ(balance, 0) << operation.name << " leaked, allocation " << n + 1 << " refused";
                if (refused == 0) {
                    EXPECT_EQ(outcome, OUTCOME_DONE) << operation.name;
                    break;
                }
                ASSERT_LT(n, 100000) << operation.name << " never completes";
            }
        }
    }
    delete g_pSavedDocument;
    g_pSavedDocument = nullptr;
    for (const char* name : {"in.xml", "out.xml", "engine.xml"})
        std::remove(tempPath(name).c_str());
}

} // namespace
