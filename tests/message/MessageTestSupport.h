#pragma once

#include <foundation/CObject.h>
#include <message/CBaseMessage.h>
#include <message/CMessageCenter.h>

#include "message/TickClock.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <vector>

namespace MessageTest {

// Counts constructions and destructions, so tests prove the center neither
// leaks nor frees early.
struct tagLifeCount
{
    static inline std::atomic<int> s_iConstructed{0};
    static inline std::atomic<int> s_iDestroyed{0};
    static void reset() { s_iConstructed = s_iDestroyed = 0; }
    static int live() { return s_iConstructed - s_iDestroyed; }
};

class CCountedMessage : public Trell::CBaseMessage
{
public:
    CCountedMessage(unsigned int uiType, unsigned int uiID, Trell::CObject* pData = nullptr)
        : Trell::CBaseMessage(static_cast<EMessageType>(uiType), uiID, pData)
    {
        ++tagLifeCount::s_iConstructed;
    }
    ~CCountedMessage() override { ++tagLifeCount::s_iDestroyed; }
};

// A type 40 message holding timer ids, merging and dropping entries as the
// timer message does, so the center's queue rules are tested without the
// timer family.
class CEntryMessage : public CCountedMessage
{
public:
    explicit CEntryMessage(std::vector<std::uintptr_t> entries) : CCountedMessage(40, 0), m_entries(std::move(entries))
    {}
    bool absorbNext(Trell::CBaseMessage* pNext) override
    {
        CEntryMessage* pOther = dynamic_cast<CEntryMessage*>(pNext);
        if (!pOther)
            return false;
        m_entries.insert(m_entries.end(), pOther->m_entries.begin(), pOther->m_entries.end());
        pOther->m_entries.clear();
        return true;
    }
    bool dropTimerEntries(std::uintptr_t uiID) override
    {
        m_entries.erase(std::remove(m_entries.begin(), m_entries.end(), uiID), m_entries.end());
        return m_entries.empty();
    }
    std::vector<std::uintptr_t> m_entries;
};

// Fresh center, a scheduling clock under the test's control and a fresh
// life count per test; nothing may outlive it.
class CCenterFixture : public ::testing::Test
{
protected:
    static inline std::atomic<unsigned int> s_uiTick{0};
    static unsigned int tick() { return s_uiTick.load(); }

    void SetUp() override
    {
        tagLifeCount::reset();
        s_uiTick = 50000;
        Trell::TickClock::setSource(&tick);
        center = Trell::CMessageCenter::getInstance();
    }
    void TearDown() override
    {
        Trell::CMessageCenter::deleteInstance();
        Trell::TickClock::setSource(nullptr);
        EXPECT_EQ(tagLifeCount::live(), 0) << "messages leaked or destroyed twice";
    }
    void push(unsigned int uiType, unsigned int uiID) { center->pushMessage(new CCountedMessage(uiType, uiID)); }

    Trell::CMessageCenter* center = nullptr;
};

} // namespace MessageTest
