#pragma once

#include <foundation/CDataMap.h>
#include <foundation/CMemory.h>
#include <foundation/CObject.h>
#include <foundation/Export.h>
#include <text/CString.h>
#include <text/CStringCompare.h>

namespace Trell {

template <class T>
class CSingleton;

// Process-wide registry that creates objects from their class name. It sits
// with the string because it is keyed by CString names.
//
// Threading: a singleton (foundation/CSingleton.h); registration and
// creation take no lock either, so threads that share the factory register
// before they create.
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
    friend class CSingleton<CObjectFactory>;

    CObjectFactory();
    CObjectFactory(const CObjectFactory&);
    CObjectFactory& operator=(const CObjectFactory&);
    ~CObjectFactory() override;

private:
    CDataMap<CString, CreateFunction, tagStringCompare> m_mapCreators;

    static CObjectFactory* s_pInstance;
};

} // namespace Trell
