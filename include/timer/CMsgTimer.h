#pragma once

#include <foundation/CMemory.h>
#include <foundation/CObject.h>
#include <foundation/CObjectArray.h>
#include <foundation/Export.h>
#include <message/CBaseMessage.h>
#include <timer/CTimer.h>

#include <cstdint>

namespace Trell {

class CTimerManager;

// The timer message (type 40): the expiries found by one or more checks of
// the timer manager, delivered in order on the thread that handles messages.
// The message center merges a newly pushed timer message into a timer
// message waiting at the end of its timer queue (absorbNext, which is
// margeDataFrom), and purges the records of a stopped timer from queued
// messages (dropTimerEntries, which is deleteDataByID).
// Not synchronised: the message center's lock guards a queued message, and a
// popped one belongs to the consumer.
class ECS_API CMsgTimer : public CBaseMessage
{
    TRELL_DECLARE_ALLOCATOR(u"CMsgTimer")

public:
    // One expiry of one timer. The id is kept apart from the pointer so that
    // it can still be compared once the timer is gone.
    class ECS_API CTimerData : public CObject
    {
        TRELL_DECLARE_ALLOCATOR(u"CMsgTimer::CTimerData")

    public:
        CTimerData(CTimer* pTimer, CTimer::ETimerStatus eStatus, unsigned int uiCount);
        ~CTimerData() override;

        // A pulse calls the listener's onTimer with the count; a completion
        // calls onTimerComplete and then ends the timer's run. Nothing without
        // a timer or a listener.
        virtual void handleMessage();

        CTimer* getTimer() const { return m_pTimer; }
        CTimer::ETimerStatus getStatus() const { return m_eStatus; }
        unsigned int getCount() const { return m_uiCount; }
        std::uintptr_t getID() const { return m_uiID; }

    protected:
        friend class CMsgTimer;

        CTimerData(const CTimerData& other) = default;
        CTimerData& operator=(const CTimerData& other) = default;

    private:
        // handleMessage() with the manager that the enclosing message looked
        // up once (null: no manager, so no timer was deleted).
        void deliver(CTimerManager* pManager);

        CTimer* m_pTimer;
        CTimer::ETimerStatus m_eStatus;
        unsigned int m_uiCount;
        std::uintptr_t m_uiID;
    };

    CMsgTimer();
    // Deletes the records it still holds.
    ~CMsgTimer() override;

    // Takes ownership; null is ignored. Appended after the records present.
    void addData(CTimerData* pData);
    unsigned int getDataCount() const { return m_aryData.getCount(); }
    // The record at uiIndex, or null past the end (the message keeps it).
    CTimerData* getDataAt(unsigned int uiIndex) const { return m_aryData.getAt(uiIndex); }
    // Removes and deletes every record of this timer id; the others keep their order.
    void deleteDataByID(std::uintptr_t uiID);
    // Moves all records of pOther, in order, to the end of this message;
    // pOther is left empty. Null (or this message) is ignored.
    // (The historical spelling of the name is kept deliberately.)
    void margeDataFrom(CMsgTimer* pOther);

    // Delivers every record whose timer was not stopped or deleted since the
    // last timer message was handled, then forgets those deletions.
    void handleMessage() override;

    // Queue hooks: absorbs another CMsgTimer; drops a timer's records and
    // reports an emptied message.
    bool absorbNext(CBaseMessage* pNext) override;
    bool dropTimerEntries(std::uintptr_t uiTimerID) override;

protected:
    // A copy holds copies of the records.
    CMsgTimer(const CMsgTimer& other);
    CMsgTimer& operator=(const CMsgTimer& other);

private:
    CObjectArray<CTimerData> m_aryData;
};

} // namespace Trell
