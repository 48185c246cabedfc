#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>
#include <system/CLogCategory.h>
#include <text/CString.h>

namespace Trell {

// The log under the category of the engine runtime, "TrellEngine".
class ECS_API CLogEngine : public CLogCategory<CLogEngine>
{
    TRELL_DECLARE_ALLOCATOR(u"CLogEngine")

public:
    static constexpr const char16_t CATEGORY[] = u"TrellEngine";
    // "TrellEngine" as a string. A static object: while static initialisers run it
    // may still be null, which is why the functions use CATEGORY.
    static const CString STR_TRELL_ENGINE;

protected:
    CLogEngine() = default;
    CLogEngine(const CLogEngine& other) = default;
    CLogEngine& operator=(const CLogEngine& other) = default;
    ~CLogEngine() override = default;
};

} // namespace Trell
