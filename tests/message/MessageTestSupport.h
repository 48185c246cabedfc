#pragma once

#include <foundation/CObject.h>
#include <message/CBaseMessage.h>
#include <message/CMessageCenter.h>

#include "message/TickClock.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <vector>

namespace MessageTest {

// Counts every construction and destruction, so tests can prove that the
// center neither leaks nor frees early.
struct tagLifeCount
{
    static std::atomic<int> s_iConstructed;
    static std::atomic<int> s_iDestroyed;
    static void reset()
    {
        s_iConstructed = 0;
        s_iDestroyed = 0;
    }
    static int live() { return s_iConstructed - s_iDestroyed; }
};

// A message of any type number, counted.
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

// A type 40 message holding timer ids, merging and dropping entries the way
// the timer message does, so that the center's queue rules are tested here
// without the timer family.
class CEntryMessage : public CCountedMessage
{
public:
    explicit CEntryMessage(std::vector<std::uintptr_t> entries) : CCountedMessage(40, 0), m_entries(std::move(entries)) {}
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

// A payload that reports its own destruction.
class CCountedPayload : public Trell::CObject
{
public:
    explicit CCountedPayload(bool* pDestroyed) : m_pDestroyed(pDestroyed) { *m_pDestroyed = false; }
    ~CCountedPayload() override { *m_pDestroyed = true; }

private:
    bool* m_pDestroyed;
};

// The scheduling clock under the test's control.
struct tagTestClock
{
    static std::atomic<unsigned int> s_uiTick;
    static unsigned int tick() { return s_uiTick.load(); }
    static void install(unsigned int uiStart)
    {
        s_uiTick = uiStart;
        Trell::TickClock::setSource(&tick);
    }
    static void advance(unsigned int uiMilliseconds) { s_uiTick += uiMilliseconds; }
    static void uninstall() { Trell::TickClock::setSource(nullptr); }
};

} // namespace MessageTest
