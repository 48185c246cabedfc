#pragma once

#include <foundation/CMemory.h>

namespace Trell {

// The one rule every singleton of the library follows, written once:
//
// Threading: getInstance() creates the instance lazily and takes no lock;
// deleteInstance() destroys it and clears the pointer, so that a later
// getInstance() starts a fresh instance. The host calls both from its main
// thread, and makes the first getInstance() call before other threads use
// the instance.
//
// A class keeps its own exported getInstance()/deleteInstance() and its
// s_pInstance (an inline template's static would be a second copy in every
// program that links the library) and defines them through this helper:
//
//   CFoo* CFoo::getInstance() { return CSingleton<CFoo>::getInstance(s_pInstance); }
//   void CFoo::deleteInstance() { CSingleton<CFoo>::deleteInstance(s_pInstance); }
//
// with `friend class CSingleton<CFoo>;` when its constructor and destructor
// are not public.
template <class T>
class CSingleton
{
    TRELL_DECLARE_ALLOCATOR(u"CSingleton")

public:
    // The instance, created on first use; null only when memory runs out.
    static T* getInstance(T*& rpInstance)
    {
        if (rpInstance == nullptr)
            rpInstance = new T();
        return rpInstance;
    }

    // The pointer is cleared after the destructor has run: code called from
    // the destructor still reaches the dying instance, not a new one.
    static void deleteInstance(T*& rpInstance)
    {
        delete rpInstance;
        rpInstance = nullptr;
    }

    CSingleton() = delete;
};

} // namespace Trell
