#pragma once

#include <foundation/CCompare.h>
#include <foundation/CDataMap.h>
#include <foundation/CMemory.h>
#include <foundation/CObject.h>
#include <foundation/Export.h>
#include <text/CString.h>

namespace Trell {

// Process-wide registry that creates objects from their class name.
//
// Threading: none of it locks. getInstance creates the instance lazily
// without a guard, so the host makes the first call (and deleteInstance)
// from its main thread before other threads use the factory.
class ECS_API CObjectFactory : public CObject
{
    TRELL_DECLARE_ALLOCATOR(u"CObjectFactory")

public:
    typedef CObject* (*CreateFunction)();

    static CObjectFactory* getInstance();
    // Destroys the instance; a later getInstance starts an empty registry.
    static void deleteInstance();

    // Records `creator` under `name` (case-sensitive). The first registration
    // of a name wins; later ones are ignored. A null creator is ignored.
    void registerClass(const CString& name, CObject* (*creator)());

    // Calls the creator registered under `name` and returns its object
    // without adding a reference; null for an unknown name.
    CObject* createObject(const CString& name);

    bool isClassRegistered(const CString& name) const;

protected:
    CObjectFactory();
    CObjectFactory(const CObjectFactory&);
    CObjectFactory& operator=(const CObjectFactory&);
    ~CObjectFactory() override;

private:
    CDataMap<CString, CreateFunction, tagStringCompare> m_mapCreators;

    static CObjectFactory* s_pInstance;
};

} // namespace Trell
