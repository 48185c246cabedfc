// CCSVParser on arbitrary UTF-16 text: the table it reads must save, and the
// saved text must read back to the same rows (a row that lost all its cells
// comes back as one empty cell).

#include <document/CCSVParser.h>
#include <text/CString.h>

#include <cstddef>
#include <cstdint>

#include "FuzzCheck.h"

using namespace Trell;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const CString text = fuzzInputAsText(data, size);
    CCSVParser table;
    table.parseFromString(text);
    CString saved;
    FUZZ_CHECK(table.saveToString(saved));
    CCSVParser back;
    back.parseFromString(saved);
    FUZZ_CHECK(back.getRowCount() == table.getRowCount());
    for (unsigned int r = 0; r < table.getRowCount(); ++r) {
        CDataArray<CString> a, b;
        table.getItem(r, a);
        back.getItem(r, b);
        if (a.getCount() == 0) {
            FUZZ_CHECK(b.getCount() == 1 && b[0].length() == 0);
            continue;
        }
        FUZZ_CHECK(a.getCount() == b.getCount());
        for (unsigned int c = 0; c < a.getCount(); ++c)
            FUZZ_CHECK(a[c] == b[c] && a[c].length() == b[c].length());
    }
    return 0;
}
