#pragma once

#include <foundation/CDataArray.h>
#include <foundation/CMemory.h>
#include <foundation/CObject.h>
#include <foundation/Export.h>
#include <message/IIdleListener.h>

namespace Trell {

template <class T>
class CSingleton;

// Registry of idle listeners that the engine notifies when the system is
// idle. Main thread only; nothing locks. Listeners are not owned.
class ECS_API CIdleCenter : public CObject
{
    TRELL_DECLARE_ALLOCATOR(u"CIdleCenter")

public:
    static CIdleCenter* getInstance();
    static void deleteInstance();

    // Null and duplicates are ignored.
    void addIdleListener(IIdleListener* pListener);
    // Removes the first occurrence.
    void removeIdleListener(IIdleListener* pListener);
    // onSystemIdle() on each listener in insertion order. Listeners must not
    // add or remove idle listeners from inside the callback.
    void dispatchSystemIdle();

protected:
    friend class CSingleton<CIdleCenter>;
    CIdleCenter();
    ~CIdleCenter() override;
    CIdleCenter(const CIdleCenter& other);
    CIdleCenter& operator=(const CIdleCenter& other);

private:
    static CIdleCenter* s_pInstance;

    CDataArray<IIdleListener*> m_aryListeners;
};

} // namespace Trell
