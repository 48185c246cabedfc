#include <foundation/CVariant.h>

#if defined(ECS_MEMORY_TESTING)
#include "foundation/MemTesting.h"
#endif

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

using namespace Trell;

namespace {

// Element type, scalar code; every array code is the scalar code + 14.
using Types = std::tuple<signed char, unsigned char, short, unsigned short, int, unsigned int, long long,
                         unsigned long long, float, double, bool, wchar_t>;
const unsigned int CODES[] = {2, 3, 4, 5, 6, 7, 10, 11, 12, 13, 14, 1};

template <class T>
void checkType(unsigned int code)
{
    const T values[3] = {T(1), T(0), T(1)};
    SCOPED_TRACE(code);
    CVariant scalar(values[0]);
    EXPECT_TRUE(scalar.getType() == code && scalar.get<T>() == T(1));
    scalar = values[1];
    EXPECT_EQ(scalar.get<T>(), T(0));

    CVariant array(values, 3);
    EXPECT_TRUE(array.getType() == code + 14 && array.getCount() == 3u && array.get<T>() == T(0))
        << "an array is no scalar";
    CVariant copy(array);
    scalar = copy;
    ASSERT_NE(copy.getArray<T>(), array.getArray<T>()) << "copies are deep";
    array.clear();
    EXPECT_TRUE(array.getType() == 0u && array.getArray<T>() == nullptr);
    for (const CVariant* v : {&copy, &scalar}) {
        ASSERT_EQ(v->getType(), code + 14);
        EXPECT_EQ(std::vector<T>(v->getArray<T>(), v->getArray<T>() + 4), (std::vector<T>{T(1), T(0), T(1), T(0)}))
            << "with a zero element after the copied ones";
    }
}

} // namespace

TEST(CVariant, EveryTypeCodeWithItsScalarAndArray)
{
    std::apply(
        [](auto... zero) {
            unsigned int i = 0;
            (checkType<decltype(zero)>(CODES[i++]), ...);
        },
        Types());
    EXPECT_EQ(CVariant(2.5).get<float>(), 0.0f) << "another type reads as zero";
}

TEST(CVariant, TextIsTerminatedAndSelfCopiesAreSafe)
{
    CVariant text(L"hello", 4);
    EXPECT_TRUE(text.getType() == 15u && std::wstring(text.getArray<wchar_t>()) == L"hell");

    const CVariant& same = text;
    text = same;
    EXPECT_EQ(std::wstring(text.getArray<wchar_t>()), L"hell");
    EXPECT_TRUE(text.copyFrom(text.getArray<wchar_t>() + 1, 2) && std::wstring(text.getArray<wchar_t>()) == L"el")
        << "from its own array";

    const int* none = nullptr;
    EXPECT_TRUE(text.copyFrom(none, 5) && text.getType() == 20u && text.getCount() == 0u);
#if defined(ECS_MEMORY_TESTING)
    MemTesting::failAllocationsAfter(0, 1);
    EXPECT_FALSE(text.copyFrom(L"x", 1));
    MemTesting::failAllocationsAfter(-1);
    EXPECT_EQ(text.getType(), 0u) << "left empty";
#endif
    text = 7;
    EXPECT_EQ(text.get<int>(), 7) << "a scalar replaces the array";
}
