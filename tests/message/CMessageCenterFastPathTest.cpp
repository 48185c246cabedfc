#include <message/CMessageCenter.h>

#include "MessageTestSupport.h"

#include <gtest/gtest.h>

// The allocation counts need the library's memory test hooks.
#if defined(ECS_MEMORY_TESTING)
#include "foundation/MemTesting.h"

#include <climits>

using namespace Trell;
using namespace MessageTest;

namespace {

// A center of the test's own, so that its destruction can be judged.
struct COwnCenter : CMessageCenter
{
};

long long balance() { return MemTesting::getAllocationBalance(); }

} // namespace

// Nodes of popped messages serve later pushes, a burst does not leave all
// of its nodes behind, and the center frees what it kept when it goes.
TEST_F(CCenterFixture, PoppedNodesServeLaterPushesAndGoWithTheCenter)
{
    MemTesting::failAllocationsAfter(INT_MAX); // counts, refuses nothing
    {
        COwnCenter own;
        const long long empty = balance();
        for (unsigned int round = 0; round < 2; ++round) {
            for (unsigned int i = 0; i < 5000; ++i)
                own.pushMessage(new CCountedMessage(24, i));
            while (own.popMessage()) {
            }
        }
        const long long kept = balance() - empty;
        EXPECT_GT(kept, 0) << "no node kept for reuse";
        EXPECT_LT(kept, 5000) << "a burst's nodes all kept";
        for (long long i = 0; i < kept; ++i)
            own.pushMessage(new CCountedMessage(31, 1));
        EXPECT_EQ(balance() - empty, 2 * kept) << "pushes with spare nodes at hand made nodes of their own";
        own.clearMessageList();
    }
    EXPECT_EQ(balance(), 0) << "the center left blocks behind";
    MemTesting::failAllocationsAfter(-1);
}

#endif
