#include <text/CCacheObject.h>

#include <gtest/gtest.h>

using namespace Trell;

TEST(CCacheObject, FrequencyStopsAtItsLimitAndResetBlanksTheEntry)
{
    CCacheObject entry(7, CString(u"button.png"));
    entry.setTime(1234);
    entry.setFrequency(0xFFFFFFFEu);
    entry.increaseFrequency();
    entry.increaseFrequency();
    EXPECT_EQ(entry.getFrequency(), 0xFFFFFFFFu) << "stops instead of wrapping";
    entry.reset();
    EXPECT_TRUE(entry.getFrequency() == 0u && entry.getTime() == 0u && entry.getId() == 0u);
    EXPECT_TRUE(entry.getName().isEmpty());
}
