#include <foundation/CMemAllocator.h>
#include <foundation/CMemChecker.h>
#include <foundation/CMemManager.h>
#include <foundation/CMemory.h>

#include "foundation/MemTestSupport.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <regex>
#include <string>
#include <tuple>
#include <vector>

using namespace Trell;
using MemTest::captureStdout;
using MemTest::freeWarning;

namespace {

// The report file is UTF-16 little-endian without a byte-order mark; its
// text is ASCII here, so it narrows losslessly (anything else shows as '?').
std::string narrowUtf16(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::string text;
    for (int low, high; (low = in.get()) != EOF && (high = in.get()) != EOF;)
        text += high == 0 && low < 0x80 ? static_cast<char>(low) : '?';
    return text;
}

const std::string COLUMNS = "\"ClassName\",\"InstanceCount\",\"TotalSize\"\n";
const std::regex REPORT_HEADER(R"(--- Report_(\d{4}) at \d{4}-\d{2}-\d{2} \d{2}:\d{2}:\d{2}\.\d{3} ---\n)");

// The text before the first report (empty in a good file), then the body of
// each report: everything after its header line.
std::vector<std::string> bodiesOf(const std::string& text)
{
    return {std::sregex_token_iterator(text.begin(), text.end(), REPORT_HEADER, -1), {}};
}

std::vector<std::string> numbersOf(const std::string& text)
{
    return {std::sregex_token_iterator(text.begin(), text.end(), REPORT_HEADER, 1), {}};
}

std::uintptr_t* wordsOf(void* p)
{
    return reinterpret_cast<std::uintptr_t*>(static_cast<char*>(p) - CMemChecker::HEADER_SIZE);
}

// A checker of its own, over an allocator of its own in checking layout, so
// that numbering and the live-block list start empty in every test.
class CMemCheckerTest : public testing::Test
{
protected:
    void TearDown() override
    {
        if (!m_strReportPath.empty())
            std::remove(m_strReportPath.c_str());
    }

    void useReportFile(const char* name)
    {
        m_strReportPath = testing::TempDir() + "ecs_memchecker_" + std::to_string(getpid()) + "_" + name;
        std::remove(m_strReportPath.c_str());
        m_checker.setMemReportFile(std::u16string(m_strReportPath.begin(), m_strReportPath.end()).c_str());
    }

    std::string reportText() const { return narrowUtf16(m_strReportPath); }

    unsigned int slotsFreeFor(unsigned int size)
    {
        return m_allocator.getFreeSlotCount(
            static_cast<unsigned int>(m_allocator.findClass(size + CMemChecker::CHECK_OVERHEAD)));
    }

    CMemAllocator m_allocator{true};
    CMemChecker m_checker{&m_allocator};
    std::string m_strReportPath;
};

} // namespace

// An overflowed block is warned about and still freed; a second free and a
// pointer the checker never gave out are warned about and nothing is freed
// or written. Each counts as an invalid free in the report.
TEST_F(CMemCheckerTest, InvalidFreesAreWarnedCountedAndReported)
{
    const unsigned int widget = m_checker.registClassName(u"CWidget");
    unsigned char* named = static_cast<unsigned char*>(m_checker.malloc(10, widget));
    unsigned char* anonymous = static_cast<unsigned char*>(m_checker.malloc(20, 0));
    void* keep = m_checker.malloc(16, 0);
    const unsigned int freeBefore = slotsFreeFor(10);
    named[10] = 'x';
    anonymous[20] = 0;
    std::vector<unsigned char> foreign(256, 0);
    std::string out = captureStdout([&] {
        m_checker.free(named);
        m_checker.free(anonymous);
    });
    const unsigned int freeAfterFirst = slotsFreeFor(10);
    EXPECT_EQ(freeAfterFirst, freeBefore + 1) << "the overflowed block went back to its pool";
    out += captureStdout([&] {
        m_checker.free(named);
        m_checker.free(anonymous);
        m_checker.free(foreign.data() + 128);
    });
    const char* twice = "Invalid Pointer. Block had been freed before!";
    EXPECT_EQ(out,
              freeWarning(named, "<CWidget>", "Block was overflow!") +
                  freeWarning(anonymous, "", "Block was overflow!") + freeWarning(named, "<CWidget>", twice) +
                  freeWarning(anonymous, "", twice) +
                  freeWarning(foreign.data() + 128, "", "Invalid Pointer. Maybe Block had been freed or crashed!"));
    EXPECT_EQ(slotsFreeFor(10), freeAfterFirst) << "nothing freed twice";
    EXPECT_EQ(std::count(foreign.begin(), foreign.end(), 0), 256) << "the foreign block was not touched";
    EXPECT_EQ(m_checker.getLiveBlockCount(), 1u);
    EXPECT_EQ(m_checker.checkHeap(), CMemChecker::HEAP_CLEAN);
    m_checker.free(keep);

    useReportFile("invalid.txt");
    m_checker.generateMemReportFile();
    EXPECT_EQ(bodiesOf(reportText()).back(),
              "[Warning][TrellEngine] Tried to free invalid pointer 5 times! Please check the log on terminal.\n"
              "All objects have been freed.\n");
}

// The first report truncates the file, later ones append with the next
// number, and after a reset the numbering restarts. Rows are sorted by class
// name, case-sensitively, the unregistered classes in one row first.
TEST_F(CMemCheckerTest, ClassNamesAndNumberedReportsWithSortedRows)
{
    useReportFile("numbering.txt");
    std::ofstream(m_strReportPath, std::ios::binary) << "left over from an earlier run";
    m_checker.generateMemReportFile();
    EXPECT_EQ(bodiesOf(reportText()), (std::vector<std::string>{"", "All objects have been freed.\n"}))
        << "the old content is gone; UTF-16LE without a byte-order mark";
    // The report is dated with the local year and month.
    const std::time_t now = std::time(nullptr);
    char today[32];
    std::strftime(today, sizeof(today), "--- Report_0001 at %Y-%m-", std::localtime(&now));
    EXPECT_EQ(reportText().find(today), 0u) << reportText();

    // Names are numbered in order of first registration, case-sensitively (a
    // prefix is another name), and copied: the caller's buffer may change.
    std::vector<unsigned int> ids;
    std::u16string transient;
    for (const char16_t* name :
         {static_cast<const char16_t*>(nullptr), u"beta", u"Alpha", u"alpha", u"Beta", u"Alpha", u"Alphabet"})
        ids.push_back(m_checker.registClassName(name ? (transient = name).c_str() : nullptr));
    EXPECT_EQ(ids, (std::vector<unsigned int>{0, 1, 2, 3, 4, 2, 5}));
    EXPECT_TRUE(m_checker.getClassName(0) == nullptr && m_checker.getClassName(6) == nullptr);
    std::vector<void*> blocks = {
        m_checker.malloc(10, ids[2]), m_checker.malloc(20, ids[2]), m_checker.malloc(5, ids[3]),
        m_checker.malloc(7, ids[4]),  m_checker.malloc(9, ids[1]),  m_checker.malloc(3, 0),
        m_checker.malloc(4, 0),       m_checker.malloc(600, 99),
    };
    m_checker.generateMemReportFile();
    EXPECT_EQ(numbersOf(reportText()), (std::vector<std::string>{"0001", "0002"}));
    EXPECT_EQ(bodiesOf(reportText()).back(), COLUMNS + "\"<UnregisteredClass or MetaType>\",\"3\",\"607\"\n"
                                                       "\"Alpha\",\"2\",\"30\"\n"
                                                       "\"Beta\",\"1\",\"7\"\n"
                                                       "\"alpha\",\"1\",\"5\"\n"
                                                       "\"beta\",\"1\",\"9\"\n");
    for (void* p : blocks)
        m_checker.free(p);

    m_checker.resetReportState();
    m_checker.generateMemReportFile();
    EXPECT_EQ(numbersOf(reportText()), std::vector<std::string>{"0001"});
}

// Without a usable file the report goes to the console as UTF-8; a
// character outside the BMP stays whole where the report's buffer splits it.
TEST_F(CMemCheckerTest, ReportGoesToTheConsoleWithoutAFile)
{
    std::u16string wide;
    std::string utf8;
    for (int i = 0; i < 200; ++i) {
        wide += u"\U0001F600";
        utf8 += "\xF0\x9F\x98\x80";
    }
    // Two names a unit apart: in one of them a pair straddles the split.
    void* first = m_checker.malloc(21, m_checker.registClassName((u"A" + wide).c_str()));
    std::string out = captureStdout([&] { m_checker.generateMemReportFile(); });
    m_checker.free(first);
    void* second = m_checker.malloc(22, m_checker.registClassName((u"AB" + wide).c_str()));
    m_checker.setMemReportFile(u"/nonexistent-folder-for-ecs-tests/report.txt");
    out += captureStdout([&] { m_checker.generateMemReportFile(); });
    m_checker.free(second);
    EXPECT_EQ(numbersOf(out), (std::vector<std::string>{"0001", "0002"}));
    EXPECT_EQ(bodiesOf(out), (std::vector<std::string>{"", COLUMNS + "\"A" + utf8 + "\",\"1\",\"21\"\n",
                                                       COLUMNS + "\"AB" + utf8 + "\",\"1\",\"22\"\n"}));
}

TEST_F(CMemCheckerTest, HeapCheckVerdicts)
{
    using Verdict = std::pair<CMemChecker::EHeapState, unsigned int>;
    std::vector<unsigned char*> blocks;
    for (unsigned int size : {30u, 40u, 50u})
        blocks.push_back(static_cast<unsigned char*>(m_checker.malloc(size, 0)));
    unsigned int errors = 99;
    const auto check = [&] { return Verdict(m_checker.checkHeap(&errors), errors); };
    EXPECT_EQ(check(), Verdict(CMemChecker::HEAP_CLEAN, 0u));

    // An overflowed block is an error but keeps its place in the statistics.
    blocks[1][40] = 0;
    EXPECT_EQ(check(), Verdict(CMemChecker::HEAP_ERRORS, 1u));
    useReportFile("verdicts.txt");
    m_checker.generateMemReportFile();
    EXPECT_EQ(bodiesOf(reportText()).back(), "[Warning][TrellEngine] 1 block error was detected!\n" + COLUMNS +
                                                 "\"<UnregisteredClass or MetaType>\",\"3\",\"120\"\n");
    blocks[1][40] = CMemChecker::GUARD_BYTE;

    // A broken header is an error; the walk goes on past it. Two in a row:
    // the list cannot be trusted any more.
    wordsOf(blocks[1])[5] ^= 1;
    EXPECT_EQ(check(), Verdict(CMemChecker::HEAP_ERRORS, 1u));
    wordsOf(blocks[2])[5] ^= 1;
    EXPECT_EQ(m_checker.checkHeap(&errors), CMemChecker::HEAP_CRASHED);
    m_checker.generateMemReportFile();
    EXPECT_EQ(
        bodiesOf(reportText()).back().find("[Warning][TrellEngine] Heap was crashed! Please check this issue ASAP.\n"),
        0u);

    wordsOf(blocks[1])[5] ^= 1;
    wordsOf(blocks[2])[5] ^= 1;
    EXPECT_EQ(check(), Verdict(CMemChecker::HEAP_CLEAN, 0u));
    EXPECT_EQ(captureStdout([&] {
                  for (unsigned char* p : blocks)
                      m_checker.free(p);
              }),
              "");
}

TEST_F(CMemCheckerTest, TwoThreadsOfRandomTrafficEndWithACleanHeap)
{
    const unsigned int ids[] = {m_checker.registClassName(u"CFirst"), m_checker.registClassName(u"CSecond"), 0};
    EXPECT_EQ(MemTest::twoThreadsOfTraffic(
                  // Mostly pooled, a quarter from the system heap.
                  200000, 1000,
                  [](std::mt19937& random) { return random() % 4 ? random() % 513 : 513 + random() % 2000; },
                  [&](unsigned int size, std::mt19937& random) { return m_checker.malloc(size, ids[random() % 3]); },
                  [&](void* p) { m_checker.free(p); }),
              0);
    unsigned int errors = 99;
    EXPECT_EQ(m_checker.checkHeap(&errors), CMemChecker::HEAP_CLEAN);
    EXPECT_EQ(std::make_tuple(errors, m_checker.getLiveBlockCount(), m_checker.getInvalidFreeCount()),
              std::make_tuple(0u, 0u, 0u));
}

// ---- The library's own checker (checking-mode builds) ------------------------

namespace {

class CMemCheckedWidget
{
    TRELL_DECLARE_ALLOCATOR(u"CMemCheckedWidget")

public:
    int value = 0;
};

} // namespace

TEST(CMemCheckingMode, AllocationOperatorsRegisterTheirClass)
{
    if (!CMemManager::isCheckingMode())
        GTEST_SKIP() << "checking mode is off in this build";
    CMemChecker* checker = CMemManager::getInstance()->getChecker();
    ASSERT_NE(checker, nullptr);
    const unsigned int liveBefore = checker->getLiveBlockCount();
    CMemCheckedWidget* widget = new CMemCheckedWidget;
    CMemCheckedWidget* array = new CMemCheckedWidget[4];
    const unsigned int id = CMemCheckedWidget::trellClassId().load();
    ASSERT_NE(id, 0u);
    EXPECT_EQ(std::u16string(checker->getClassName(id)), u"CMemCheckedWidget");
    EXPECT_TRUE(wordsOf(widget)[4] == id && wordsOf(array)[4] == id) << "the array operator uses the same name";
    delete[] array;
    delete widget;
    EXPECT_EQ(checker->getLiveBlockCount(), liveBefore);
}
