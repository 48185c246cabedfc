#pragma once

#include <foundation/Export.h>

namespace Trell {

class CObject;

// A pool that takes back objects whose last reference was released. It owns
// the object it is handed (to keep it for reuse or to delete it). The library
// ships no pool of its own.
class ECS_API CObjectPoolRef
{
public:
    virtual void returnObject(CObject* object) = 0;

protected:
    // Pools are never deleted through this interface; the only virtual slot is
    // returnObject.
    ~CObjectPoolRef() = default;
};

} // namespace Trell
