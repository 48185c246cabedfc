#include <document/CCSVParser.h>

#include <gtest/gtest.h>

#include <random>
#include <utility>
#include <vector>

#include "document/DocumentTestUtil.h"
#if defined(ECS_MEMORY_TESTING)
#include "foundation/MemTesting.h"
#endif

using namespace Trell;
using namespace DocumentTest;

namespace {

using Rows = std::vector<std::vector<std::u16string>>;

// The test's own view of CCSVParser, with the protected reader reachable.
class CSV : public CCSVParser
{
public:
    using CCSVParser::parseData;

    Rows rows()
    {
        Rows result(getRowCount());
        for (unsigned int r = 0; r < getRowCount(); ++r) {
            CDataArray<CString> cells;
            getItem(r, cells);
            for (const CString& cell : cells)
                result[r].push_back(str(cell));
        }
        return result;
    }

    void add(const std::vector<std::u16string>& cells)
    {
        CDataArray<CString> row;
        for (const std::u16string& cell : cells)
            row.add(cs(cell));
        addItem(row);
    }
};

// The reading rules unit by unit: a row starts at the first unit and after
// each LF (a quote there is skipped); a TAB or LF ends a cell, dropping a CR
// before an LF and then one quote; after a TAB one quote is skipped; units
// after the last TAB or LF are lost.
Rows referenceRead(const std::u16string& text)
{
    Rows rows;
    if (text.empty() || (text[0] != 0xFEFF && text[0] != 0xFFFE))
        return rows;
    size_t start = 1;
    for (size_t i = 1; i < text.size(); ++i) {
        if (i == start && (i == 1 || text[i - 1] == u'\n')) {
            rows.emplace_back();
            if (text[i] == u'"') {
                start = i + 1;
                continue;
            }
        }
        if (text[i] != u'\t' && text[i] != u'\n')
            continue;
        size_t end = i;
        if (text[i] == u'\n' && end > start && text[end - 1] == u'\r')
            --end;
        if (end > start && text[end - 1] == u'"')
            --end;
        rows.back().push_back(text.substr(start, end - start));
        start = i + 1;
        if (text[i] == u'\t' && start < text.size() && text[start] == u'"')
            start = ++i + 1;
    }
    return rows;
}

} // namespace

TEST(CCSVParser, SavesTheExactFormat)
{
    CSV table;
    CString out;
    table.add({u"a", u"b"});
    table.add({u"say \"hi\"", u"", u"x\ty"});
    ASSERT_TRUE(table.saveToString(out));
    EXPECT_EQ(str(out), u"\uFEFF\"a\"\t\"b\"\n\"say \"hi\"\"\t\"\"\t\"x\ty\"\n");
#if defined(ECS_MEMORY_TESTING)
    // Out of memory at any step, a table is read whole or not at all.
    const CString text(u"\uFEFFa\tb\nc\n");
    for (unsigned int n = 0, refused = 1; refused > 0; ++n) {
        CSV partial;
        partial.add({u"old"});
        MemTesting::failAllocationsAfter(int(n), 1);
        partial.parseFromString(text);
        refused = MemTesting::getRefusedAllocations();
        MemTesting::failAllocationsAfter(-1);
        const Rows rows = partial.rows();
        EXPECT_TRUE(rows == (Rows{{u"old"}}) || rows == (Rows{{u"old"}, {u"a", u"b"}, {u"c"}})) << n;
    }
#endif
}

// Any text of the units that matter reads as the reference reads it: the
// swapped mark is accepted but nothing is swapped, no mark gives no rows, and
// a last line without LF loses its last cell.
TEST(CCSVParser, ReadsAsTheReferenceWithDeliberateLosses)
{
    CSV table;
    table.parseData(nullptr);
    EXPECT_EQ(table.getRowCount(), 0u);
    const char16_t alphabet[] = {u'a', u'"', u'\t', u'\n', u'\r', 0xFEFF};
    const char16_t firsts[] = {0xFEFF, 0xFEFF, 0xFEFF, 0xFFFE, u'a'};
    std::mt19937 rng(5);
    for (int round = 0; round < 3000; ++round) {
        std::u16string text(1, firsts[round % 5]);
        for (unsigned int n = rng() % 24; n > 0; --n)
            text += alphabet[rng() % 6];
        CSV random;
        EXPECT_TRUE(random.parseFromString(cs(text)));
        ASSERT_EQ(random.rows(), referenceRead(text)) << round;
    }
}

TEST(CCSVParser, RowsAccumulateAndOddFiles)
{
    CTempFolder folder;
    CSV table;
    table.add({});
    EXPECT_EQ(table.getRowCount(), 0u);
    table.parseFromString(u"\uFEFF1\n");
    table.parseFromString(u"\uFEFF2\n");
    EXPECT_EQ(table.rows(), (Rows{{u"1"}, {u"2"}}));
    CDataArray<CString> out;
    out.add(u"keep");
    table.getItem(2, out);
    ASSERT_EQ(out.getCount(), 1u);
    EXPECT_EQ(str(out[0]), u"keep");

    // Cells without TAB and LF survive a file, quotes and CRs included.
    table.add({u"\"q\"\r", u"", u"\u4E2D \uFEFF"});
    ASSERT_TRUE(table.saveToFile(folder.path("t.csv")));
    CSV back;
    ASSERT_TRUE(back.parseFromFile(folder.path("t.csv")));
    EXPECT_EQ(back.rows(), table.rows());

    EXPECT_FALSE(table.parseFromFile(folder.path("missing.csv")));
    // No mark: read as empty, still a success; an odd last byte is dropped.
    const std::pair<std::string, Rows> files[] = {
        {"a\tb\n", {}}, {"", {}}, {std::string("\xFF\xFE\x61\0\n\0b", 7), {{u"a"}, {}}}};
    for (const auto& [bytes, rows] : files) {
        folder.writeFile("f.csv", bytes);
        CSV file;
        EXPECT_TRUE(file.parseFromFile(folder.path("f.csv")));
        EXPECT_EQ(file.rows(), rows);
    }
}
