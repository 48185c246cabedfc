#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>

namespace Trell {

template <class T>
class CSingleton;

class CSurface;
class IPlatformFactory;
class ISurface;

// Process-wide holder of the host's IPlatformFactory.
//
// Threading: a singleton (foundation/CSingleton.h); registerFactory takes no
// lock either, the host calls it from its main thread during start-up.
class ECS_API CPlatformFactory
{
    TRELL_DECLARE_ALLOCATOR(u"CPlatformFactory")

public:
    // Created on first call; null if that allocation fails (the next call
    // tries again).
    static CPlatformFactory* getInstance();
    // Deletes the singleton; the registered factory is left alone.
    static void deleteInstance();

    // Stores pFactory (not owned), replacing any earlier one; null unregisters.
    void registerFactory(IPlatformFactory* pFactory);
    // What the registered factory creates for pSurface; null without a factory.
    ISurface* createSurface(CSurface* pSurface);

protected:
    friend class CSingleton<CPlatformFactory>;

    CPlatformFactory();
    CPlatformFactory(const CPlatformFactory& other);
    CPlatformFactory& operator=(const CPlatformFactory& other);
    virtual ~CPlatformFactory();

private:
    IPlatformFactory* m_pFactory;

    static CPlatformFactory* s_pInstance;
};

} // namespace Trell
