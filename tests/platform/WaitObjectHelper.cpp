// Second process for the named-event tests.
//
//   ecs_test_wait_helper signal <name>
//       opens the named event and notifies it.
//   ecs_test_wait_helper pingpong <ping> <pong>
//       notifies <ping>, then waits up to 60 s on <pong>; exits 0 only when
//       woken before that deadline.
//   ecs_test_wait_helper waitgo <go>
//       opens <go> and waits up to 60 s on it; exits 0 only when woken
//       before that deadline.
#include <platform/CWaitObject.h>
#include <text/CString.h>

#include <chrono>
#include <cstring>
#include <string>

using namespace Trell;

namespace {

CString toName(const char* pszName)
{
    std::u16string text;
    for (const char* p = pszName; *p; ++p)
        text += static_cast<char16_t>(static_cast<unsigned char>(*p));
    return CString(text.c_str());
}

bool wokenBeforeDeadline(CWaitObject& event)
{
    const auto start = std::chrono::steady_clock::now();
    event.forceWait(60000);
    return std::chrono::steady_clock::now() - start < std::chrono::seconds(55);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc == 3 && std::strcmp(argv[1], "signal") == 0) {
        CWaitObject event(toName(argv[2]));
        event.notify();
        return 0;
    }
    if (argc == 4 && std::strcmp(argv[1], "pingpong") == 0) {
        CWaitObject ping(toName(argv[2]));
        CWaitObject pong(toName(argv[3]));
        ping.notify();
        return wokenBeforeDeadline(pong) ? 0 : 1;
    }
    if (argc == 3 && std::strcmp(argv[1], "waitgo") == 0) {
        CWaitObject go(toName(argv[2]));
        return wokenBeforeDeadline(go) ? 0 : 1;
    }
    return 2;
}
