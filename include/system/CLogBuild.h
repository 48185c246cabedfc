#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>
#include <system/CLogCategory.h>
#include <text/CString.h>

namespace Trell {

// The log under the category of the build tool, "TrellBuild".
class ECS_API CLogBuild : public CLogCategory<CLogBuild>
{
    TRELL_DECLARE_ALLOCATOR(u"CLogBuild")

public:
    static constexpr const char16_t CATEGORY[] = u"TrellBuild";
    // "TrellBuild" as a string. A static object: while static initialisers run it
    // may still be null, which is why the functions use CATEGORY.
    static const CString STR_TRELL_BUILD;

protected:
    CLogBuild() = default;
    CLogBuild(const CLogBuild& other) = default;
    CLogBuild& operator=(const CLogBuild& other) = default;
    ~CLogBuild() override = default;
};

} // namespace Trell
