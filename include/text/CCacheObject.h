#pragma once

#include <foundation/CMemory.h>
#include <foundation/CObject.h>
#include <foundation/Export.h>
#include <text/CString.h>

namespace Trell {

// The bookkeeping of one cached resource, from which caches derive their
// entries: id, name, the time of its last use (milliseconds of the common
// tick base) and how often it was used, which decide what a full cache
// drops. It lives with the text family rather than the foundation because
// it holds a string. Guarded, like every entry, by its cache's lock.
class ECS_API CCacheObject : public CObject
{
    TRELL_DECLARE_ALLOCATOR(u"CCacheObject")

public:
    explicit CCacheObject(unsigned int id = 0, const CString& name = CString());
    ~CCacheObject() override;

    // Back to a blank entry (id 0, no name, time and frequency 0), as a
    // pool hands it out again.
    void reset() override;

    unsigned int getId() const { return m_uiId; }
    void setId(unsigned int id) { m_uiId = id; }
    const CString& getName() const { return m_strName; }
    void setName(const CString& name) { m_strName = name; }
    unsigned int getTime() const { return m_uiTime; }
    void setTime(unsigned int time) { m_uiTime = time; }
    unsigned int getFrequency() const { return m_uiFrequency; }
    void setFrequency(unsigned int frequency) { m_uiFrequency = frequency; }
    // One use more; stops at the largest count rather than wrapping to 0,
    // which would make the most used entry look unused.
    void increaseFrequency();

protected:
    CCacheObject(const CCacheObject& other) = default;
    CCacheObject& operator=(const CCacheObject& other) = default;

private:
    unsigned int m_uiId;
    CString m_strName;
    unsigned int m_uiTime;
    unsigned int m_uiFrequency;
};

} // namespace Trell
