#include <message/CMessageCenter.h>
#include <message/CMessages.h>

#include <gtest/gtest.h>

// The allocation counts need the library's memory test hooks.
#if defined(ECS_MEMORY_TESTING)
#include "foundation/MemTesting.h"

#include <climits>

using namespace Trell;

// Nodes of popped messages serve later pushes, a burst leaves only some of
// them behind, and the center frees what it kept when it goes.
TEST(MessageCenterNodes, PoppedNodesServeLaterPushesAndGoWithTheCenter)
{
    struct COwnCenter : CMessageCenter
    {};
    MemTesting::failAllocationsAfter(INT_MAX); // counts, refuses nothing
    {
        COwnCenter own;
        const long long empty = MemTesting::getAllocationBalance();
        for (unsigned int i = 0; i < 10000; ++i)
            own.pushMessage(new CMsgLogicEvent(i));
        while (own.popMessage()) {
        }
        const long long kept = MemTesting::getAllocationBalance() - empty;
        EXPECT_GE(kept, 100) << "a usual backlog's nodes are not kept";
        EXPECT_LT(kept, 10000);
        // Half of them: the rest must go with the center.
        for (long long i = 0; i < kept / 2; ++i)
            own.pushMessage(new CMsgLogicEvent(1));
        EXPECT_EQ(MemTesting::getAllocationBalance() - empty, kept + kept / 2) << "spare nodes left unused";
        own.clearMessageList();
    }
    EXPECT_EQ(MemTesting::getAllocationBalance(), 0) << "the center left blocks behind";
    MemTesting::failAllocationsAfter(-1);
}

#endif
