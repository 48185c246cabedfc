#pragma once

// A process is started from one command line, as the library's callers
// write it for the Windows side; here it is cut into the argument vector
// that the program there would have seen.

#include <string>
#include <vector>

namespace Trell {
namespace CommandLine {

// The program is the first word: a quoted one runs to the next quote with no
// escapes, an unquoted one to the next blank. Every later argument follows
// the C runtime's rules: blanks (space, tab) separate outside quotes, quotes
// group and are removed, 2n backslashes before a quote give n and the quote
// acts, 2n+1 give n and a literal quote, backslashes elsewhere are literal,
// and "" inside a quoted stretch is a literal quote.
std::vector<std::u16string> split(const std::u16string& strLine);

} // namespace CommandLine
} // namespace Trell
