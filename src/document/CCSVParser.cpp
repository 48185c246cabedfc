#include <document/CCSVParser.h>

#include <system/CFile.h>

#include "XMLScan.h"

namespace Trell {

namespace {

const char16_t MARK = 0xFEFF;
const char16_t SWAPPED_MARK = 0xFFFE;
const char16_t QUOTE = u'"';
const char16_t TAB = u'\t';
const char16_t LF = u'\n';
const char16_t CR = u'\r';

} // namespace

CCSVParser::CCSVParser() : CObject(), m_aryRows(true)
{}

CCSVParser::~CCSVParser()
{}

bool CCSVParser::parseFromFile(const CString& path)
{
    CFile file;
    if (!file.open(path, true))
        return false;
    const unsigned int size = file.getFileSize();
    if (size > 0x7FFFFFF0u)
        return false;
    // Whole units plus a zero unit after the data; an odd last byte becomes
    // the low half of one more unit.
    const unsigned int units = size / 2 + 2;
    char16_t* text = static_cast<char16_t*>(CMemory::malloc(units * sizeof(char16_t), 0));
    if (!text)
        return false;
    for (unsigned int i = 0; i < units; ++i)
        text[i] = 0;
    bool ok = file.readData(reinterpret_cast<unsigned char*>(text), size);
    file.close();
    if (ok)
        parseData(text);
    CMemory::free(text);
    return ok;
}

bool CCSVParser::parseFromString(const CString& text)
{
    parseData(text.buffer());
    return true;
}

void CCSVParser::parseData(const char16_t* text)
{
    if (!text || (text[0] != MARK && text[0] != SWAPPED_MARK))
        return;
    const char16_t* p = text + 1;
    // Out of memory, the rows of this parse are dropped again: a table is
    // read whole or not at all, never with rows or cells missing.
    const unsigned int rowsBefore = m_aryRows.getCount();
    auto dropParsedRows = [this, rowsBefore] {
        while (m_aryRows.getCount() > rowsBefore)
            m_aryRows.removeAt(m_aryRows.getCount() - 1);
    };
    Row* row = nullptr;
    const char16_t* cellStart = p;
    bool rowStart = true;
    // Deliberately lossy at the end: units after the last TAB or LF never
    // become a cell, as existing readers of these files expect.
    for (; *p; ++p) {
        if (rowStart) {
            rowStart = false;
            row = new Row();
            if (!row || !m_aryRows.add(row)) {
                delete row;
                dropParsedRows();
                return;
            }
            if (*p == QUOTE) {
                cellStart = p + 1;
                continue;
            }
            cellStart = p;
        }
        const char16_t c = *p;
        if (c != TAB && c != LF)
            continue;
        const char16_t* cellEnd = p;
        if (c == LF && cellEnd > cellStart && cellEnd[-1] == CR)
            --cellEnd;
        if (cellEnd > cellStart && cellEnd[-1] == QUOTE)
            --cellEnd;
        CString cell;
        if (!XMLScan::makeString(cellStart, unsigned(cellEnd - cellStart), cell) ||
            !row->add(static_cast<CString&&>(cell))) {
            dropParsedRows();
            return;
        }
        if (c == LF) {
            rowStart = true;
        } else {
            cellStart = p + 1;
            if (*cellStart == QUOTE) {
                ++cellStart;
                ++p;
            }
        }
    }
}

bool CCSVParser::saveToString(CString& out)
{
    // Mark, then per cell two quotes plus the text, a TAB between cells and an LF per row.
    unsigned long long total = 1;
    for (const Row* row : m_aryRows) {
        for (const CString& cell : *row)
            total += cell.length() + 2ull;
        total += row->getCount() ? row->getCount() : 1;
    }
    if (total >= 0x3FFFFFFFull)
        return false;
    char16_t* buffer = static_cast<char16_t*>(CMemory::malloc(unsigned(total + 1) * sizeof(char16_t), 0));
    if (!buffer)
        return false;
    char16_t* w = buffer;
    *w++ = MARK;
    for (const Row* row : m_aryRows) {
        for (unsigned int i = 0; i < row->getCount(); ++i) {
            if (i)
                *w++ = TAB;
            const CString& cell = (*row)[i];
            *w++ = QUOTE;
            for (unsigned int k = 0; k < cell.length(); ++k)
                *w++ = cell.buffer()[k];
            *w++ = QUOTE;
        }
        *w++ = LF;
    }
    *w = 0;
    out.attach(buffer, int(w - buffer));
    return true;
}

bool CCSVParser::saveToFile(const CString& path)
{
    CString text;
    if (!saveToString(text))
        return false;
    CFile file;
    if (!file.open(path, false))
        return false;
    bool ok = file.writeData(reinterpret_cast<const unsigned char*>(text.buffer()), text.length() * 2u);
    file.close();
    return ok;
}

void CCSVParser::getItem(unsigned int row, CDataArray<CString>& out)
{
    if (row >= m_aryRows.getCount())
        return;
    out = *m_aryRows[row];
}

void CCSVParser::addItem(CDataArray<CString>& row)
{
    if (row.getCount() == 0)
        return;
    Row* copy = new Row(row);
    if (copy && !m_aryRows.add(copy))
        delete copy;
}

} // namespace Trell
