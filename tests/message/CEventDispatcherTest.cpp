#include <message/CEventDispatcher.h>
#include <message/CIdleCenter.h>
#include <message/CIdleCenterProxy.h>
#include <message/IEventListener.h>
#include <message/IIdleListener.h>

#include "message/MessageLog.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

using namespace Trell;

namespace {

// A dispatcher whose dispatch the tests can trigger.
class CPublisher : public CEventDispatcher
{
public:
    void publish(unsigned int uiEvent) { dispatchEvent(nullptr, uiEvent, nullptr); }
};

class CNamedListener : public IEventListener
{
public:
    CNamedListener(std::vector<std::string>* log, const char* name) : m_log(log), m_name(name) {}
    std::function<void()> whenCalled;

    void onEvent(CObject*, unsigned int uiEventID, CObject*) override
    {
        m_log->push_back(m_name + std::to_string(uiEventID));
        if (whenCalled)
            whenCalled();
    }

private:
    std::vector<std::string>* m_log;
    std::string m_name;
};

std::vector<std::u16string> g_warnings;

void recordWarning(const char16_t* text)
{
    g_warnings.push_back(text);
}

} // namespace

TEST(CEventDispatcher, DispatchesInOrderAndSkipsBlockedListeners)
{
    std::vector<std::string> log;
    CPublisher publisher;
    CNamedListener a(&log, "a"), b(&log, "b");
    publisher.addEventListener(&a);
    publisher.addEventListener(&b);
    publisher.addEventListener(&a); // already present: ignored
    publisher.addEventListener(nullptr);
    publisher.publish(1);
    b.blockListen();
    EXPECT_TRUE(b.isBlockListen());
    publisher.publish(2);
    b.unblockListen();
    publisher.publish(3);
    EXPECT_EQ(log, (std::vector<std::string>{"a1", "b1", "a2", "a3", "b3"}));

    // One removal removes the single entry.
    publisher.removeEventListener(&a);
    publisher.publish(4);
    EXPECT_EQ(log.back(), "b4");
    EXPECT_EQ(log.size(), 6u);
}

// A listener that removes or destroys itself in onEvent does not make the
// next one be skipped.
TEST(CEventDispatcher, ListenerLeavingMidDispatchDoesNotSkipTheNext)
{
    std::vector<std::string> log;
    CPublisher publisher;
    CNamedListener a(&log, "a"), b(&log, "b"), c(&log, "c");
    CNamedListener* d = new CNamedListener(&log, "d");
    publisher.addEventListener(&a);
    publisher.addEventListener(&b);
    publisher.addEventListener(d);
    publisher.addEventListener(&c);
    a.whenCalled = [&] { publisher.removeEventListener(&a); };
    d->whenCalled = [d] { delete d; };
    publisher.publish(1);
    publisher.publish(2);
    EXPECT_EQ(log, (std::vector<std::string>{"a1", "b1", "d1", "c1", "b2", "c2"}));
}

TEST(CEventDispatcher, DestroyingTheDispatcherMidDispatchEndsItWithAWarning)
{
    g_warnings.clear();
    MessageLog::setWarningSink(&recordWarning);
    std::vector<std::string> log;
    CPublisher* publisher = new CPublisher();
    CNamedListener a(&log, "a"), b(&log, "b");
    publisher->addEventListener(&a);
    publisher->addEventListener(&b);
    a.whenCalled = [&] { delete publisher; };
    publisher->publish(1);
    MessageLog::setWarningSink(nullptr);
    EXPECT_EQ(log, (std::vector<std::string>{"a1"}));
    ASSERT_EQ(g_warnings.size(), 1u);
    EXPECT_EQ(g_warnings[0], u"The event dispatcher object has been deleted while dispatching event to outer.");
    // The links were cut: destroying the listeners later touches no dead dispatcher.
}

TEST(CEventDispatcher, EitherSideMayBeDestroyedFirst)
{
    std::vector<std::string> log;
    CPublisher publisher;
    CPublisher second;
    {
        CNamedListener shortLived(&log, "s");
        publisher.addEventListener(&shortLived);
        second.addEventListener(&shortLived);
    }
    publisher.publish(1); // the dead listener took itself out of both
    second.publish(1);
    EXPECT_TRUE(log.empty());

    CNamedListener survivor(&log, "v");
    {
        CPublisher shortPublisher;
        shortPublisher.addEventListener(&survivor);
        publisher.addEventListener(&survivor);
    }
    publisher.publish(2); // the survivor still hears the other dispatcher
    EXPECT_EQ(log, (std::vector<std::string>{"v2"}));
}

namespace {

class COrderedIdle : public IIdleListener
{
public:
    COrderedIdle(std::vector<int>* log, int id) : m_log(log), m_id(id) {}
    void onSystemIdle() override { m_log->push_back(m_id); }

private:
    std::vector<int>* m_log;
    int m_id;
};

} // namespace

TEST(CIdleCenter, NotifiesInInsertionOrderWithoutDuplicates)
{
    std::vector<int> log;
    COrderedIdle one(&log, 1), two(&log, 2), three(&log, 3);
    CIdleCenter* center = CIdleCenter::getInstance();
    EXPECT_EQ(CIdleCenter::getInstance(), center);
    center->addIdleListener(&two);
    CIdleCenterProxy::addIdleListener(&one);
    center->addIdleListener(&two);
    center->addIdleListener(nullptr);
    center->addIdleListener(&three);
    center->dispatchSystemIdle();
    EXPECT_EQ(log, (std::vector<int>{2, 1, 3}));
    CIdleCenterProxy::removeIdleListener(&two);
    center->removeIdleListener(&two);
    log.clear();
    center->dispatchSystemIdle();
    EXPECT_EQ(log, (std::vector<int>{1, 3}));
    CIdleCenter::deleteInstance();
    log.clear();
    CIdleCenter::getInstance()->dispatchSystemIdle(); // a new, empty center
    EXPECT_TRUE(log.empty());
    CIdleCenter::deleteInstance();
}
