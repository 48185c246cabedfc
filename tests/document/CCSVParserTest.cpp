#include <document/CCSVParser.h>

#include <gtest/gtest.h>

#include <utility>

#include "document/DocumentTestUtil.h"

using namespace Trell;
using namespace DocumentTest;

namespace {

// The test's own view of CCSVParser, with the protected reader reachable.
class CSV : public CCSVParser
{
public:
    using CCSVParser::parseData;

    std::vector<std::vector<std::u16string>> rows()
    {
        std::vector<std::vector<std::u16string>> result;
        for (unsigned int r = 0; r < getRowCount(); ++r) {
            CDataArray<CString> cells;
            getItem(r, cells);
            std::vector<std::u16string> row;
            for (const CString& cell : cells)
                row.push_back(str(cell));
            result.push_back(row);
        }
        return result;
    }
};

using Rows = std::vector<std::vector<std::u16string>>;

CDataArray<CString> row(std::initializer_list<const char16_t*> cells)
{
    CDataArray<CString> r;
    for (const char16_t* c : cells)
        r.add(CString(c));
    return r;
}

} // namespace

TEST(CCSVParser, SavesTheExactFormat)
{
    CSV table;
    CDataArray<CString> ab = row({u"a", u"b"});
    table.addItem(ab);
    CString out;
    ASSERT_TRUE(table.saveToString(out));
    EXPECT_EQ(str(out), u"\uFEFF\"a\"\t\"b\"\n");

    CDataArray<CString> more = row({u"say \"hi\"", u"", u"x\ty"});
    table.addItem(more);
    ASSERT_TRUE(table.saveToString(out));
    EXPECT_EQ(str(out), u"\uFEFF\"a\"\t\"b\"\n\"say \"hi\"\"\t\"\"\t\"x\ty\"\n");

    CSV empty;
    ASSERT_TRUE(empty.saveToString(out));
    EXPECT_EQ(str(out), u"\uFEFF");
}

TEST(CCSVParser, ReadsBackWhatItWritesWithDeliberateLosses)
{
    const std::pair<const char16_t*, Rows> cases[] = {
        {u"\uFEFF\"a\"\t\"b\"\n", {{u"a", u"b"}}},
        {u"\uFEFF\"a\"\t\"b\"\r\n\"c\"\r\n", {{u"a", u"b"}, {u"c"}}},
        // Unquoted cells, an empty cell and quotes kept inside a cell.
        {u"\uFEFFa\t\t\"x\"y\"\n", {{u"a", u"", u"x\"y"}}},
        // A last line without LF loses its last cell (the row itself stays).
        {u"\uFEFF\"a\"\n\"b\"\t\"c\"", {{u"a"}, {u"b"}}},
        // A TAB inside quotes still separates.
        {u"\uFEFF\"x\ty\"\n", {{u"x", u"y"}}},
        // No mark, no rows; the mark alone, no rows.
        {u"\"a\"\n", {}},
        {u"\uFEFF", {}},
        // The swapped mark is accepted but nothing is swapped.
        {u"\uFFFEa\n", {{u"a"}}},
    };
    for (const auto& [text, expected] : cases) {
        SCOPED_TRACE(std::u16string(text).size());
        CSV table;
        table.parseFromString(text);
        EXPECT_EQ(table.rows(), expected);
    }
    CSV table;
    EXPECT_TRUE(table.parseFromString(u"\uFEFF\"a\"\n"));
    table.parseData(nullptr);
    EXPECT_EQ(table.rows(), (Rows{{u"a"}}));
}

TEST(CCSVParser, RowsAccumulateAndEmptyRowsAreRefused)
{
    CSV table;
    CDataArray<CString> nothing;
    table.addItem(nothing);
    EXPECT_EQ(table.getRowCount(), 0u);
    table.parseFromString(u"\uFEFF1\n");
    table.parseFromString(u"\uFEFF2\n");
    EXPECT_EQ(table.rows(), (Rows{{u"1"}, {u"2"}}));

    CDataArray<CString> out = row({u"keep"});
    table.getItem(5, out);
    EXPECT_EQ(out.getCount(), 1u);
    table.getItem(1, out);
    ASSERT_EQ(out.getCount(), 1u);
    EXPECT_EQ(str(out[0]), u"2");
    // The table holds copies.
    CDataArray<CString> source = row({u"s"});
    table.addItem(source);
    source[0] = u"changed";
    table.getItem(2, out);
    EXPECT_EQ(str(out[0]), u"s");
}

TEST(CCSVParser, FilesRoundTripAndOddShapes)
{
    TempFolder folder;
    CSV table;
    CDataArray<CString> r1 = row({u"\u4e2d", u"two words"});
    CDataArray<CString> r2 = row({u"3"});
    table.addItem(r1);
    table.addItem(r2);
    ASSERT_TRUE(table.saveToFile(folder.path("t.csv")));
    std::vector<unsigned char> bytes = readBytes(folder.native("t.csv"));
    ASSERT_GE(bytes.size(), 4u);
    EXPECT_EQ(std::vector<unsigned char>(bytes.begin(), bytes.begin() + 4), (std::vector<unsigned char>{0xFF, 0xFE, '"', 0}));
    EXPECT_EQ(std::vector<unsigned char>(bytes.end() - 2, bytes.end()), (std::vector<unsigned char>{'\n', 0}));

    CSV back;
    ASSERT_TRUE(back.parseFromFile(folder.path("t.csv")));
    EXPECT_EQ(back.rows(), table.rows());

    EXPECT_FALSE(back.parseFromFile(folder.path("missing.csv")));

    // No mark: read as empty, still a success.
    writeBytes(folder.native("plain.csv"), bytesOf("a\tb\n"));
    CSV plain;
    EXPECT_TRUE(plain.parseFromFile(folder.path("plain.csv")));
    EXPECT_EQ(plain.getRowCount(), 0u);

    // Odd length and empty files.
    writeBytes(folder.native("odd.csv"), {0xFF, 0xFE, 'a', 0, '\n', 0, 'b'});
    CSV odd;
    EXPECT_TRUE(odd.parseFromFile(folder.path("odd.csv")));
    EXPECT_EQ(odd.rows(), (Rows{{u"a"}, {}}));
    writeBytes(folder.native("empty.csv"), {});
    EXPECT_TRUE(odd.parseFromFile(folder.path("empty.csv")));
}
