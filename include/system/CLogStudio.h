#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>
#include <system/CLogCategory.h>
#include <text/CString.h>

namespace Trell {

// The log under the category of the editor (studio), "TrellStudio".
class ECS_API CLogStudio : public CLogCategory<CLogStudio>
{
    TRELL_DECLARE_ALLOCATOR(u"CLogStudio")

public:
    static constexpr const char16_t CATEGORY[] = u"TrellStudio";
    // "TrellStudio" as a string. A static object: while static initialisers run it
    // may still be null, which is why the functions use CATEGORY.
    static const CString STR_TRELL_STUDIO;

protected:
    CLogStudio() = default;
    CLogStudio(const CLogStudio& other) = default;
    CLogStudio& operator=(const CLogStudio& other) = default;
    ~CLogStudio() override = default;
};

} // namespace Trell
