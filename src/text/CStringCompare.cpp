#include <text/CStringCompare.h>

#include <text/CStringCore.h>

namespace Trell {

int tagStringCompareIC::operator()(const CString& a, const CString& b) const
{
    return CStringCore::strcmpIC(a.buffer(), b.buffer());
}

int tagStringReverseCompare::operator()(const CString& a, const CString& b) const
{
    return CStringCore::strrcmp(a.buffer(), a.length(), b.buffer(), b.length());
}

int tagStringReverseCompareIC::operator()(const CString& a, const CString& b) const
{
    return CStringCore::strrcmpIC(a.buffer(), a.length(), b.buffer(), b.length());
}

} // namespace Trell
