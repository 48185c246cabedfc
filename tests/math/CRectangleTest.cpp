#include <math/CRectangle.h>
#include <math/CRectangleF.h>

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <limits>

using namespace Trell;

namespace {

using Rect = std::array<long long, 4>; // x, y, width, height

CRectangle make(const Rect& r)
{
    return CRectangle(int(r[0]), int(r[1]), unsigned(r[2]), unsigned(r[3]));
}

Rect values(const CRectangle& r)
{
    return {r.getX(), r.getY(), r.getWidth(), r.getHeight()};
}

} // namespace

TEST(CRectangle, EdgesCountTheLastPixel)
{
    // x, y, width, height, right, bottom, centerX, centerY, empty
    const std::array<long long, 9> rows[] = {
        {0, 0, 10, 10, 9, 9, 5, 5, 0},
        {10, 10, 0, 5, 10, 14, 10, 12, 1},
        {4, 4, 3, 0, 6, 4, 5, 4, 1},
        {INT_MAX, 0, 3, 1, INT_MIN + 1, 0, INT_MIN, 0, 0}}; // wraps as 32-bit sums do
    for (const auto& r : rows) {
        const CRectangle rect = make({r[0], r[1], r[2], r[3]});
        EXPECT_EQ((std::array<long long, 5>{rect.getRight(), rect.getBottom(), rect.getCenterX(), rect.getCenterY(),
                                            rect.isEmpty()}),
                  (std::array<long long, 5>{r[4], r[5], r[6], r[7], r[8]}))
            << r[0];
    }
}

TEST(CRectangle, PointAndRectangleContainment)
{
    const CRectangle r(0, 0, 10, 10);
    EXPECT_TRUE(r.ptInRect(CPoint(9, 9)) && r.ptInRect(CPoint(0, 0)));
    EXPECT_FALSE(r.ptInRect(CPoint(10, 0)) || r.ptInRect(CPoint(5, 10)) || r.ptInRect(CPoint(-1, 5)));
    EXPECT_FALSE(CRectangle(10, 10, 0, 5).ptInRect(CPoint(10, 10)));
    EXPECT_TRUE(CRectangle(INT_MAX - 1, 0, 5, 1).ptInRect(CPoint(INT_MAX, 0)));
    // By x + width, not by the last pixel: an empty rectangle on the far edge fits.
    for (const auto& [inner, inside] : {std::pair<Rect, bool>{{5, 5, 5, 5}, true},
                                        {{5, 5, 6, 5}, false},
                                        {{5, 5, 5, 6}, false},
                                        {{-1, 0, 2, 2}, false},
                                        {{0, -1, 2, 2}, false},
                                        {{10, 10, 0, 0}, true}})
        EXPECT_EQ(r.rectInRect(make(inner)), inside) << inner[0] << "," << inner[1];
}

// a, b, their overlap (all zero: none; checked both ways round; zero extents
// count as one pixel), a after add(b) (an empty a becomes b; an empty b still
// reaches by its x, y).
TEST(CRectangle, IntersectionAndUnion)
{
    const std::array<Rect, 4> rows[] = {{{{0, 0, 10, 10}, {5, 5, 10, 10}, {5, 5, 5, 5}, {0, 0, 15, 15}}},
                                        {{{0, 0, 10, 10}, {9, 9, 5, 5}, {9, 9, 1, 1}, {0, 0, 14, 14}}},
                                        {{{0, 0, 10, 10}, {2, 3, 4, 2}, {2, 3, 4, 2}, {0, 0, 10, 10}}},
                                        {{{0, 0, 10, 10}, {10, 0, 5, 5}, {0, 0, 0, 0}, {0, 0, 15, 10}}},
                                        {{{0, 0, 10, 10}, {0, 10, 5, 5}, {0, 0, 0, 0}, {0, 0, 10, 15}}},
                                        {{{-5, -5, 3, 3}, {0, 0, 3, 3}, {0, 0, 0, 0}, {-5, -5, 8, 8}}},
                                        {{{-10, 5, 4, 4}, {0, -3, 2, 2}, {0, 0, 0, 0}, {-10, -3, 12, 12}}},
                                        {{{5, 5, 10, 10}, {0, 0, 0, 0}, {0, 0, 0, 0}, {0, 0, 15, 15}}},
                                        {{{10, 10, 5, 0}, {10, 10, 1, 1}, {10, 10, 1, 1}, {10, 10, 1, 1}}},
                                        {{{0, 0, 0, 0}, {0, 0, 0, 0}, {0, 0, 1, 1}, {0, 0, 0, 0}}}};
    for (const auto& [a, b, overlap, sum] : rows) {
        EXPECT_EQ(std::make_pair(make(a).isIntersect(make(b)), make(b).isIntersect(make(a))),
                  std::make_pair(overlap[2] != 0, overlap[2] != 0))
            << a[0] << "," << b[0];
        EXPECT_EQ(values(make(a).intersect(make(b))), overlap) << a[0] << "," << b[0];
        EXPECT_EQ(values(make(b).intersect(make(a))), overlap) << a[0] << "," << b[0];
        CRectangle r = make(a);
        r.add(make(b));
        EXPECT_EQ(values(r), sum) << a[0] << "," << b[0];
    }
}

TEST(CRectangle, EditingEdgesAndExtents)
{
    CRectangle r(10, 10, 5, 5);
    r.setRight(20);
    EXPECT_EQ(values(r), (Rect{10, 10, 11, 5}));
    r.setRight(4); // left of x: x moves, the old x stays the last pixel
    r.setBottom(12);
    EXPECT_EQ(values(r), (Rect{4, 10, 7, 3}));

    r.set(10, 10, 5, 5);
    r.inflate(1, 2, 3, 4);
    EXPECT_EQ(values(r), (Rect{9, 8, 9, 11}));
    r.deflate(1, 2, 3, 4);
    r.offset(-20, 5);
    r.deflate(3, 0, 3, 0); // past the width: the unsigned extent wraps
    EXPECT_EQ(values(r), (Rect{-7, 15, UINT_MAX, 5}));
    r.set(1, 2, 3, 4);
    EXPECT_TRUE(r != CRectangle(1, 2, 3, 5) && r != CRectangle(0, 2, 3, 4) && !(r != CRectangle(1, 2, 3, 4)));
}

TEST(CRectangleF, ContinuousEdgesAndStrictOverlap)
{
    const CRectangleF r(0.0f, 0.0f, 10.0f, 10.0f);
    EXPECT_FALSE(r.isIntersect(CRectangleF(10.0f, 0.0f, 5.0f, 5.0f)) ||
                 r.isIntersect(CRectangleF(0.0f, -5.0f, 5.0f, 5.0f)));
    EXPECT_TRUE(r.intersect(CRectangleF(9.5f, -1.0f, 5.0f, 5.0f)) == CRectangleF(9.5f, 0.0f, 0.5f, 4.0f));
    // Half-open, as the pixel rule is.
    EXPECT_TRUE(r.ptInRect(CVector2(0.0f, 0.0f)) && r.ptInRect(CVector2(9.99f, 9.99f)) && r.ptInRect(CPoint(9, 0)));
    EXPECT_FALSE(r.ptInRect(CVector2(10.0f, 5.0f)) || r.ptInRect(CVector2(5.0f, 10.0f)) ||
                 r.ptInRect(CVector2(-0.01f, 5.0f)) || r.ptInRect(CPoint(10, 10)));
    EXPECT_TRUE(r.rectInRect(CRectangleF(5.0f, 5.0f, 5.0f, 5.0f)) && r.rectInRect(r));
    EXPECT_FALSE(r.rectInRect(CRectangleF(5.0f, 5.0f, 5.5f, 5.0f)) ||
                 r.rectInRect(CRectangleF(-1.0f, 0.0f, 1.0f, 1.0f)));
    const float nan = std::numeric_limits<float>::quiet_NaN();
    EXPECT_TRUE(CRectangleF(0.0f, 0.0f, 0.0f, 1.0f).isEmpty() && CRectangleF(0.0f, 0.0f, 1.0f, 0.0f).isEmpty() &&
                CRectangleF(0.0f, 0.0f, nan, 1.0f).isEmpty() && !r.isEmpty());

    CRectangleF u = r, empty(1.0f, 1.0f, 0.0f, 3.0f);
    u.add(CRectangleF(20.0f, 20.0f, 5.0f, 5.0f));
    empty.add(CRectangleF(1.0f, 2.0f, 3.0f, 5.0f));
    EXPECT_TRUE(u == CRectangleF(0.0f, 0.0f, 25.0f, 25.0f) && empty == CRectangleF(1.0f, 2.0f, 3.0f, 5.0f));
    u.set(1.0f, 2.0f, 3.0f, 4.0f);
    u.inflate(0.5f, 1.0f, 1.5f, 2.0f);
    u.deflate(0.0f, 0.0f, 1.0f, 0.0f);
    u.offset(-1.0f, 0.5f);
    EXPECT_TRUE(u == CRectangleF(-0.5f, 1.5f, 4.0f, 7.0f) && u != CRectangleF(-0.5f, 1.5f, 4.0f, 7.5f));
}
