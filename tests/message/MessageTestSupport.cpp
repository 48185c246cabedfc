#include "MessageTestSupport.h"

namespace MessageTest {

std::atomic<int> tagLifeCount::s_iConstructed{0};
std::atomic<int> tagLifeCount::s_iDestroyed{0};
std::atomic<unsigned int> tagTestClock::s_uiTick{0};

} // namespace MessageTest
