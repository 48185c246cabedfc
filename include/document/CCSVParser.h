#pragma once

#include <foundation/CDataArray.h>
#include <foundation/CMemory.h>
#include <foundation/CObject.h>
#include <foundation/CObjectArray.h>
#include <foundation/Export.h>
#include <text/CString.h>

namespace Trell {

// A table of text cells in the library's tab-separated format: UTF-16 in
// machine byte order starting with the mark U+FEFF, every cell inside double
// quotes (quotes within a cell are neither doubled nor escaped), cells
// separated by one TAB and every row, the last included, ended by one LF.
//
// The reader is deliberately lenient and lossy, as existing files rely on:
// a text without the mark reads as empty without an error; a CR before an LF
// is dropped; quotes are removed only at the two ends of a cell, so a TAB or
// LF inside quotes still separates; and units after the last TAB or LF do
// not become a cell (a file must end with an LF to keep its last cell).
// Parsing appends rows to those already held.
//
// Not synchronised: one table is used by one thread at a time.
class ECS_API CCSVParser : public CObject
{
    TRELL_DECLARE_ALLOCATOR(u"CCSVParser")

public:
    typedef CDataArray<CString> Row;

    CCSVParser();
    ~CCSVParser() override;

    // False when the file cannot be opened or read.
    bool parseFromFile(const CString& path);
    bool parseFromString(const CString& text);
    bool saveToString(CString& out);
    bool saveToFile(const CString& path);

    // Replaces `out` with the cells of row `row`; nothing when out of range.
    void getItem(unsigned int row, CDataArray<CString>& out);
    // Appends a copy of `row`; a row without cells is not added.
    void addItem(CDataArray<CString>& row);
    unsigned int getRowCount() const { return m_aryRows.getCount(); }
    void clear() { m_aryRows.clear(); }

protected:
    CCSVParser(const CCSVParser&);
    CCSVParser& operator=(const CCSVParser&);

    void parseData(const char16_t* text);

private:
    CObjectArray<Row> m_aryRows;
};

} // namespace Trell
