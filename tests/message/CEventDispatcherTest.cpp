#include <message/CEventDispatcher.h>
#include <message/CIdleCenter.h>
#include <message/CIdleCenterProxy.h>
#include <message/IEventListener.h>
#include <message/IIdleListener.h>

#include "message/MessageLog.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <iterator>
#include <new>
#include <string>
#include <vector>

using namespace Trell;

namespace {

class CPublisher : public CEventDispatcher
{
public:
    void publish(unsigned int uiEvent) { dispatchEvent(nullptr, uiEvent, nullptr); }
};

using Log = std::vector<std::string>;

// Notes each event as its name and the event's number, and each idle call as
// its name alone.
class CNamedListener : public IEventListener, public IIdleListener
{
    // Both bases bring allocation operators; this picks one set.
    TRELL_DECLARE_ALLOCATOR(u"CNamedListener")

public:
    CNamedListener(Log* log, const char* name) : m_log(log), m_name(name) {}
    std::function<void()> whenCalled;

    void onEvent(CObject*, unsigned int uiEventID, CObject*) override
    {
        m_log->push_back(m_name + std::to_string(uiEventID));
        if (whenCalled)
            whenCalled();
    }
    void onSystemIdle() override { m_log->push_back(m_name); }

    Log* m_log;
    std::string m_name;
};

std::vector<std::u16string> g_warnings;

} // namespace

// Listeners hear in order of addition, once each, unless blocked; either
// side may be destroyed first; a listener removing or destroying itself in
// onEvent does not make the next be skipped; destroying the dispatcher ends
// the dispatch with a warning. Idle listeners are kept alike.
TEST(CEventDispatcher, ListenersHearInOrderOnceEachWhileEitherSideMayLeave)
{
    Log log;
    CPublisher publisher, second;
    // b's first dispatcher goes before b, and its memory is overwritten then:
    // a link b kept to it would lead into garbage when b goes.
    alignas(CPublisher) unsigned char place[sizeof(CPublisher)];
    CNamedListener a(&log, "a"), b(&log, "b"), c(&log, "c");
    CNamedListener* d = new CNamedListener(&log, "d");
    {
        CNamedListener shortLived(&log, "s");
        CPublisher* shortPublisher = ::new (place) CPublisher();
        shortPublisher->addEventListener(&b);
        for (IEventListener* listener : {&a, &b, &a, &shortLived, static_cast<CNamedListener*>(nullptr), d, &c})
            publisher.addEventListener(listener);
        second.addEventListener(&shortLived);
        shortPublisher->~CPublisher();
        std::fill(std::begin(place), std::end(place), 0xA5);
    }
    publisher.publish(1);
    second.publish(1);
    b.blockListen();
    publisher.publish(2);
    b.unblockListen();
    a.whenCalled = [&] { publisher.removeEventListener(&a); };
    d->whenCalled = [d] { delete d; };
    publisher.publish(3);
    publisher.publish(4);
    EXPECT_EQ(log, (Log{"a1", "b1", "d1", "c1", "a2", "d2", "c2", "a3", "b3", "d3", "c3", "b4", "c4"}));

    log.clear();
    MessageLog::setWarningSink([](const char16_t* text) { g_warnings.push_back(text); });
    CPublisher* doomed = new CPublisher();
    doomed->addEventListener(&a);
    doomed->addEventListener(&b);
    a.whenCalled = [&] { delete doomed; };
    doomed->publish(1);
    MessageLog::setWarningSink(nullptr);
    EXPECT_EQ(log, (Log{"a1"}));
    EXPECT_EQ(g_warnings, (std::vector<std::u16string>{
                              u"The event dispatcher object has been deleted while dispatching event to outer."}));

    // The idle center keeps the same order, once each.
    log.clear();
    CIdleCenter* center = CIdleCenter::getInstance();
    center->addIdleListener(&b);
    CIdleCenterProxy::addIdleListener(&a);
    center->addIdleListener(&b);
    center->addIdleListener(nullptr);
    center->addIdleListener(&c);
    center->dispatchSystemIdle();
    CIdleCenterProxy::removeIdleListener(&b);
    center->removeIdleListener(&b);
    center->dispatchSystemIdle();
    EXPECT_EQ(log, (Log{"b", "a", "c", "a", "c"}));
    CIdleCenter::deleteInstance();
    CIdleCenter::getInstance()->dispatchSystemIdle(); // a new, empty center
    EXPECT_EQ(log.size(), 5u);
    CIdleCenter::deleteInstance();
}
