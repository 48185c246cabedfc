#include <platform/posix/CommandLine.h>

namespace Trell {
namespace CommandLine {

namespace {

bool isBlank(char16_t ch)
{
    return ch == u' ' || ch == u'\t';
}

} // namespace

std::vector<std::u16string> split(const std::u16string& strLine)
{
    std::vector<std::u16string> aryArgs;
    const std::size_t uiLength = strLine.size();
    std::size_t i = 0;
    while (i < uiLength && isBlank(strLine[i]))
        ++i;
    if (i == uiLength)
        return aryArgs;

    std::u16string strProgram;
    if (strLine[i] == u'"') {
        const std::size_t uiEnd = strLine.find(u'"', i + 1);
        const std::size_t uiStop = uiEnd == std::u16string::npos ? uiLength : uiEnd;
        strProgram.assign(strLine, i + 1, uiStop - i - 1);
        i = uiStop == uiLength ? uiLength : uiStop + 1;
    } else {
        while (i < uiLength && !isBlank(strLine[i]))
            strProgram += strLine[i++];
    }
    aryArgs.push_back(strProgram);

    for (;;) {
        while (i < uiLength && isBlank(strLine[i]))
            ++i;
        if (i == uiLength)
            break;
        std::u16string strArg;
        bool bQuoted = false;
        while (i < uiLength && (bQuoted || !isBlank(strLine[i]))) {
            std::size_t uiSlashes = 0;
            while (i < uiLength && strLine[i] == u'\\') {
                ++uiSlashes;
                ++i;
            }
            if (i < uiLength && strLine[i] == u'"') {
                strArg.append(uiSlashes / 2, u'\\');
                if (uiSlashes % 2 == 1) {
                    strArg += u'"';
                    ++i;
                } else if (bQuoted && i + 1 < uiLength && strLine[i + 1] == u'"') {
                    strArg += u'"';
                    i += 2;
                } else {
                    bQuoted = !bQuoted;
                    ++i;
                }
            } else {
                strArg.append(uiSlashes, u'\\');
                if (i < uiLength && (bQuoted || !isBlank(strLine[i])))
                    strArg += strLine[i++];
            }
        }
        aryArgs.push_back(strArg);
    }
    return aryArgs;
}

} // namespace CommandLine
} // namespace Trell
