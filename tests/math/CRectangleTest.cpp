#include <math/CRectangle.h>
#include <math/CRectangleF.h>

#include <gtest/gtest.h>

#include <climits>
#include <limits>

using namespace Trell;

namespace {

struct tagRect
{
    int x, y;
    unsigned int w, h;
    CRectangle get() const { return CRectangle(x, y, w, h); }
};

::testing::AssertionResult same(const CRectangle& r, const tagRect& e)
{
    if (r == e.get())
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "(" << r.getX() << ", " << r.getY() << ", " << r.getWidth() << ", "
                                         << r.getHeight() << ")";
}

} // namespace

TEST(CRectangle, EdgesCountTheLastPixel)
{
    struct
    {
        tagRect r;
        int right, bottom, centerX, centerY;
        bool empty;
    } const rows[] = {
        {{0, 0, 10, 10}, 9, 9, 5, 5, false},
        {{10, 10, 0, 5}, 10, 14, 10, 12, true},
        {{-5, 3, 1, 7}, -5, 9, -5, 6, false},
        {{4, 4, 3, 0}, 6, 4, 5, 4, true},
        {{INT_MAX, 0, 3, 1}, INT_MIN + 1, 0, INT_MIN, 0, false}, // wraps as 32-bit sums do
    };
    for (const auto& row : rows) {
        const CRectangle r = row.r.get();
        EXPECT_EQ(r.getRight(), row.right) << row.r.x;
        EXPECT_EQ(r.getBottom(), row.bottom) << row.r.x;
        EXPECT_EQ(r.getCenterX(), row.centerX) << row.r.x;
        EXPECT_EQ(r.getCenterY(), row.centerY) << row.r.x;
        EXPECT_EQ(r.isEmpty(), row.empty) << row.r.x;
    }
}

TEST(CRectangle, PointAndRectangleContainment)
{
    const CRectangle r(0, 0, 10, 10);
    EXPECT_TRUE(r.ptInRect(CPoint(9, 9)) && r.ptInRect(CPoint(0, 0)));
    EXPECT_FALSE(r.ptInRect(CPoint(10, 0)) || r.ptInRect(CPoint(5, 10)) || r.ptInRect(CPoint(-1, 5)));
    EXPECT_FALSE(CRectangle(10, 10, 0, 5).ptInRect(CPoint(10, 10)));
    EXPECT_TRUE(CRectangle(INT_MAX - 1, 0, 5, 1).ptInRect(CPoint(INT_MAX, 0)));

    // By x + width, not by the last pixel: an empty rectangle on the edge fits.
    const struct
    {
        tagRect inner;
        bool inside;
    } rows[] = {{{0, 0, 10, 10}, true}, {{5, 5, 5, 5}, true}, {{5, 5, 6, 5}, false}, {{5, 5, 5, 6}, false},
                {{-1, 0, 2, 2}, false}, {{0, -1, 2, 2}, false}, {{10, 10, 0, 0}, true}};
    for (const auto& row : rows)
        EXPECT_EQ(r.rectInRect(row.inner.get()), row.inside) << row.inner.x << "," << row.inner.y;
}

TEST(CRectangle, IntersectionTreatsZeroExtentsAsOnePixel)
{
    const struct
    {
        tagRect a, b, overlap; // a zero overlap: no intersection
    } rows[] = {
        {{10, 10, 0, 5}, {10, 10, 1, 1}, {10, 10, 1, 1}},
        {{0, 0, 0, 0}, {0, 0, 0, 0}, {0, 0, 1, 1}},
        {{0, 0, 10, 10}, {5, 5, 10, 10}, {5, 5, 5, 5}},
        {{0, 0, 10, 10}, {9, 9, 5, 5}, {9, 9, 1, 1}},
        {{0, 0, 10, 10}, {2, 3, 4, 2}, {2, 3, 4, 2}},
        {{0, 0, 10, 10}, {10, 0, 5, 5}, {0, 0, 0, 0}},
        {{0, 0, 10, 10}, {0, 10, 5, 5}, {0, 0, 0, 0}},
        {{-5, -5, 3, 3}, {0, 0, 3, 3}, {0, 0, 0, 0}},
    };
    for (const auto& row : rows) {
        const CRectangle a = row.a.get(), b = row.b.get();
        const bool hit = row.overlap.w != 0;
        EXPECT_EQ(a.isIntersect(b), hit) << row.b.x;
        EXPECT_EQ(b.isIntersect(a), hit) << row.b.x;
        EXPECT_TRUE(same(a.intersect(b), row.overlap)) << row.b.x;
        EXPECT_TRUE(same(b.intersect(a), row.overlap)) << row.b.x;
    }
}

TEST(CRectangle, AddGrowsToTheUnionOrCopies)
{
    const struct
    {
        tagRect a, b, sum;
    } rows[] = {
        {{0, 0, 10, 10}, {20, 20, 5, 5}, {0, 0, 25, 25}},
        {{0, 0, 10, 10}, {2, 2, 3, 3}, {0, 0, 10, 10}},
        {{0, 0, 0, 5}, {3, 4, 5, 6}, {3, 4, 5, 6}},    // empty: becomes the other
        {{3, 4, 5, 0}, {0, 0, 0, 0}, {0, 0, 0, 0}},
        {{5, 5, 10, 10}, {0, 0, 0, 0}, {0, 0, 15, 15}}, // an empty r still reaches by its x, y
        {{-10, 5, 4, 4}, {0, -3, 2, 2}, {-10, -3, 12, 12}},
    };
    for (const auto& row : rows) {
        CRectangle r = row.a.get();
        r.add(row.b.get());
        EXPECT_TRUE(same(r, row.sum)) << row.a.x << "," << row.b.x;
    }
}

TEST(CRectangle, EditingEdgesAndExtents)
{
    CRectangle r(10, 10, 5, 5);
    r.setRight(20);
    EXPECT_TRUE(same(r, {10, 10, 11, 5}));
    r.setRight(4); // left of x: x moves, the old x stays the last pixel
    EXPECT_TRUE(same(r, {4, 10, 7, 5}));
    r.setRight(4);
    EXPECT_TRUE(same(r, {4, 10, 1, 5}));
    r.setBottom(12);
    EXPECT_TRUE(same(r, {4, 10, 1, 3}));
    r.setBottom(0);
    EXPECT_TRUE(same(r, {4, 0, 1, 11}));

    r.set(10, 10, 5, 5);
    r.inflate(1, 2, 3, 4);
    EXPECT_TRUE(same(r, {9, 8, 9, 11}));
    r.deflate(1, 2, 3, 4);
    r.offset(-20, 5);
    EXPECT_TRUE(same(r, {-10, 15, 5, 5}));
    r.deflate(3, 0, 3, 0); // past the width: the unsigned extent wraps
    EXPECT_TRUE(same(r, {-7, 15, UINT_MAX, 5}));
    r.setX(1);
    r.setY(2);
    r.setWidth(3);
    r.setHeight(4);
    EXPECT_TRUE(same(r, {1, 2, 3, 4}));
    EXPECT_TRUE(r != CRectangle(1, 2, 3, 5) && r != CRectangle(0, 2, 3, 4) && !(r != CRectangle(1, 2, 3, 4)));
    r.clear();
    EXPECT_TRUE(same(r, {0, 0, 0, 0}));
}

TEST(CRectangle, CopiesAndAssignmentsCarryTheValueNotTheCount)
{
    CRectangle a(1, 2, 3, 4);
    a.addRef();
    a.addRef();
    const CRectangle copy(a);
    EXPECT_EQ(copy.getRef(), 0);
    CRectangle target;
    target.addRef();
    target = a;
    EXPECT_EQ(target.getRef(), 1);
    EXPECT_TRUE(target == copy && copy == a);
}

TEST(CRectangleF, ContinuousEdgesAndStrictOverlap)
{
    const CRectangleF r(0.0f, 0.0f, 10.0f, 10.0f);
    EXPECT_FALSE(r.isIntersect(CRectangleF(10.0f, 0.0f, 5.0f, 5.0f)));
    EXPECT_FALSE(r.isIntersect(CRectangleF(0.0f, -5.0f, 5.0f, 5.0f)));
    EXPECT_TRUE(r.intersect(CRectangleF(10.0f, 0.0f, 5.0f, 5.0f)) == CRectangleF());
    EXPECT_TRUE(r.intersect(CRectangleF(9.5f, -1.0f, 5.0f, 5.0f)) == CRectangleF(9.5f, 0.0f, 0.5f, 4.0f));
    EXPECT_TRUE(CRectangleF(2.0f, 2.0f, 1.0f, 1.0f).intersect(r) == CRectangleF(2.0f, 2.0f, 1.0f, 1.0f));

    EXPECT_EQ(r.getRight() + r.getBottom() + CRectangleF(1.0f, 2.0f, 3.0f, 5.0f).getCenterY(), 24.5f);
    EXPECT_EQ(CRectangleF(1.0f, 2.0f, 3.0f, 5.0f).getCenterX(), 2.5f);
    EXPECT_TRUE(r.ptInRect(CVector2(0.0f, 0.0f)) && r.ptInRect(CVector2(9.99f, 9.99f)) && r.ptInRect(CPoint(9, 0)));
    EXPECT_FALSE(r.ptInRect(CVector2(10.0f, 5.0f)) || r.ptInRect(CVector2(5.0f, 10.0f)) ||
                 r.ptInRect(CVector2(-0.01f, 5.0f)) || r.ptInRect(CPoint(10, 10)));
    EXPECT_TRUE(r.rectInRect(CRectangleF(5.0f, 5.0f, 5.0f, 5.0f)) && r.rectInRect(r));
    EXPECT_FALSE(r.rectInRect(CRectangleF(5.0f, 5.0f, 5.5f, 5.0f)) ||
                 r.rectInRect(CRectangleF(-1.0f, 0.0f, 1.0f, 1.0f)));

    const float nan = std::numeric_limits<float>::quiet_NaN();
    EXPECT_TRUE(CRectangleF(0.0f, 0.0f, 0.0f, 1.0f).isEmpty() && CRectangleF(0.0f, 0.0f, 1.0f, -1.0f).isEmpty() &&
                CRectangleF(0.0f, 0.0f, nan, 1.0f).isEmpty());
    EXPECT_FALSE(r.isEmpty());
}

TEST(CRectangleF, AddAndEditing)
{
    CRectangleF r(0.0f, 0.0f, 10.0f, 10.0f);
    r.add(CRectangleF(20.0f, 20.0f, 5.0f, 5.0f));
    EXPECT_TRUE(r == CRectangleF(0.0f, 0.0f, 25.0f, 25.0f));
    CRectangleF empty(1.0f, 1.0f, 0.0f, 3.0f);
    empty.add(CRectangleF(-2.0f, 3.0f, 1.5f, 2.5f));
    EXPECT_TRUE(empty == CRectangleF(-2.0f, 3.0f, 1.5f, 2.5f));
    r.set(1.0f, 2.0f, 3.0f, 4.0f);
    r.inflate(0.5f, 1.0f, 1.5f, 2.0f);
    EXPECT_TRUE(r == CRectangleF(0.5f, 1.0f, 5.0f, 7.0f));
    r.deflate(0.5f, 1.0f, 1.5f, 2.0f);
    r.offset(-1.0f, 0.5f);
    EXPECT_TRUE(r == CRectangleF(0.0f, 2.5f, 3.0f, 4.0f));
    EXPECT_TRUE(r != CRectangleF(0.0f, 2.5f, 3.0f, 4.5f) && r != CRectangleF(0.0f, 2.0f, 3.0f, 4.0f));
}
