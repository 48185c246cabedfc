#include <math/CMatrix4.h>

#include <cmath>

// The inverse and the bulk transform are the hot paths of picking and of
// skinning-free vertex work; where SSE2 is there (every x86-64 build, 32-bit
// builds with SSE2 enabled) they run four lanes at a time, otherwise in
// plain floats. Both paths compute the same formulas.
#if defined(__SSE2__) || defined(_M_X64) || (defined(_M_IX86_FP) && _M_IX86_FP >= 2)
#define ECS_MATH_SSE2 1
#include <emmintrin.h>
#else
#define ECS_MATH_SSE2 0
#endif

namespace Trell {

namespace {

// Rotation about a unit axis (Rodrigues' formula), by columns.
CMatrix4 rotationMatrix(float radians, const CVector3& unitAxis)
{
    const float c = std::cos(radians);
    const float s = std::sin(radians);
    const CVector3 a = unitAxis;
    const CVector3 t = a * (1.0f - c);
    return CMatrix4(CVector4(t.x * a.x + c, t.x * a.y + s * a.z, t.x * a.z - s * a.y, 0.0f),
                    CVector4(t.y * a.x - s * a.z, t.y * a.y + c, t.y * a.z + s * a.x, 0.0f),
                    CVector4(t.z * a.x + s * a.y, t.z * a.y - s * a.x, t.z * a.z + c, 0.0f),
                    CVector4(0.0f, 0.0f, 0.0f, 1.0f));
}

// The determinant and the inverse both expand by the 2x2 minors of rows 0-1
// (s) and rows 2-3 (c), for the column pairs (0,1) (0,2) (0,3) (1,2) (1,3)
// (2,3):
//   det = s0 c5 - s1 c4 + s2 c3 + s3 c2 - s4 c1 + s5 c0
// and column j of the adjugate comes from one row r and one set of minors m:
//   (r1 m5 - r2 m4 + r3 m3, -r0 m5 + r2 m2 - r3 m1, r0 m4 - r1 m2 + r3 m0, -r0 m3 + r1 m1 - r2 m0)
// with (r, m) = (row 1, c), -(row 0, c), (row 3, s), -(row 2, s) for j = 0..3.
// The permanent is the determinant's expansion with every product taken by
// its absolute value and added: the size of the terms that cancel.
struct tagMinors
{
    float s[6];
    float c[6];
};

const unsigned int PAIRS[6][2] = {{0, 1}, {0, 2}, {0, 3}, {1, 2}, {1, 3}, {2, 3}};

template <typename Combine>
tagMinors minorsOf(const CMatrix4& m, Combine combine)
{
    tagMinors r;
    for (unsigned int k = 0; k < 6; ++k) {
        const unsigned int i = PAIRS[k][0], j = PAIRS[k][1];
        r.s[k] = combine(m.get(0, i) * m.get(1, j), m.get(0, j) * m.get(1, i));
        r.c[k] = combine(m.get(2, i) * m.get(3, j), m.get(2, j) * m.get(3, i));
    }
    return r;
}

float expand(const tagMinors& m, float sign)
{
    return m.s[0] * m.c[5] + sign * m.s[1] * m.c[4] + m.s[2] * m.c[3] + m.s[3] * m.c[2] + sign * m.s[4] * m.c[1] +
           m.s[5] * m.c[0];
}

tagMinors signedMinors(const CMatrix4& m)
{
    return minorsOf(m, [](float p, float q) { return p - q; });
}

#if ECS_MATH_SSE2

// Lanes (a[l0], a[l1], b[l2], b[l3]).
#define ECS_SHUFFLE(a, b, l0, l1, l2, l3) _mm_shuffle_ps(a, b, _MM_SHUFFLE(l3, l2, l1, l0))

inline __m128 absolute(__m128 v)
{
    return _mm_andnot_ps(_mm_set1_ps(-0.0f), v);
}

// Adds the four lanes; the sum lands in lane 0.
inline float sumOf(__m128 v)
{
    const __m128 pairs = _mm_add_ps(v, _mm_movehl_ps(v, v));
    return _mm_cvtss_f32(_mm_add_ss(pairs, ECS_SHUFFLE(pairs, pairs, 1, 1, 1, 1)));
}

// Minors 0-3 of two rows: products p - q, and |p| + |q| for the permanent.
inline void lowMinors(__m128 a, __m128 b, __m128& minors, __m128& sizes)
{
    const __m128 p = _mm_mul_ps(ECS_SHUFFLE(a, a, 0, 0, 0, 1), ECS_SHUFFLE(b, b, 1, 2, 3, 2));
    const __m128 q = _mm_mul_ps(ECS_SHUFFLE(a, a, 1, 2, 3, 2), ECS_SHUFFLE(b, b, 0, 0, 0, 1));
    minors = _mm_sub_ps(p, q);
    sizes = _mm_add_ps(absolute(p), absolute(q));
}

// det (or the permanent) from minors 0-3 of s and c and hi = (s4, s5, c4, c5);
// the masks flip the signs of s0 c5 .. s3 c2 and of s4 c1, s5 c0.
inline float expandLanes(__m128 s, __m128 c, __m128 hi, __m128 mainSigns, __m128 restSigns)
{
    const __m128 main = _mm_mul_ps(s, ECS_SHUFFLE(hi, c, 3, 2, 3, 2));
    const __m128 rest = _mm_mul_ps(ECS_SHUFFLE(hi, hi, 0, 1, 0, 1), ECS_SHUFFLE(c, c, 1, 0, 1, 0));
    const __m128 lowHalf = _mm_castsi128_ps(_mm_set_epi32(0, 0, -1, -1));
    return sumOf(_mm_add_ps(_mm_xor_ps(main, mainSigns), _mm_xor_ps(_mm_and_ps(rest, lowHalf), restSigns)));
}

// One adjugate column from row r and the factor vectors of its minors.
inline __m128 adjugateColumn(__m128 r, __m128 m1, __m128 m2, __m128 m3)
{
    return _mm_add_ps(
        _mm_add_ps(_mm_mul_ps(ECS_SHUFFLE(r, r, 1, 0, 0, 0), m1), _mm_mul_ps(ECS_SHUFFLE(r, r, 2, 2, 1, 1), m2)),
        _mm_mul_ps(ECS_SHUFFLE(r, r, 3, 3, 3, 2), m3));
}

// (m5, -m5, m4, -m3), (-m4, m2, -m2, m1), (m3, -m1, m0, -m0) from lo = (m0..m3)
// and t = (m5, m4, x, x) shuffled into place by the caller.
inline void factors(__m128 lo, __m128 t, __m128& m1, __m128& m2, __m128& m3)
{
    const __m128 plusMinus = _mm_set_ps(-0.0f, 0.0f, -0.0f, 0.0f), minusPlus = _mm_set_ps(0.0f, -0.0f, 0.0f, -0.0f);
    const __m128 a = ECS_SHUFFLE(t, lo, 0, 1, 3, 3); // m5, m4, m3, m3
    const __m128 b = ECS_SHUFFLE(t, lo, 1, 1, 2, 1); // m4, m4, m2, m1
    m1 = _mm_xor_ps(ECS_SHUFFLE(a, a, 0, 0, 1, 2), plusMinus);
    m2 = _mm_xor_ps(ECS_SHUFFLE(b, b, 0, 2, 2, 3), minusPlus);
    m3 = _mm_xor_ps(ECS_SHUFFLE(lo, lo, 3, 1, 0, 0), plusMinus);
}

#endif

} // namespace

void CMatrix4::transformPoints(const CVector3* in, CVector3* out, unsigned int count) const
{
    unsigned int i = 0;
#if ECS_MATH_SSE2
    // Four points (twelve floats) make three vectors of outputs, (x0 y0 z0 x1)
    // (y1 z1 x2 y2) (z2 x3 y3 z3): output vector v, lane l holds row
    // (4 v + l) % 3. Each is a sum of matrix entries placed in that row order
    // times the inputs spread to match, summed in the order of
    // transformPoint, so both give the same bits.
    __m128 k[3][4]; // [output vector][column]
    for (unsigned int v = 0; v < 3; ++v) {
        for (unsigned int col = 0; col < 4; ++col)
            k[v][col] = _mm_setr_ps(get((4 * v) % 3, col), get((4 * v + 1) % 3, col), get((4 * v + 2) % 3, col),
                                    get((4 * v + 3) % 3, col));
    }
    const auto sum = [](const __m128* kv, __m128 x, __m128 y, __m128 z) {
        return _mm_add_ps(_mm_add_ps(_mm_add_ps(_mm_mul_ps(kv[0], x), _mm_mul_ps(kv[1], y)), _mm_mul_ps(kv[2], z)),
                          kv[3]);
    };
    for (; i + 4 <= count; i += 4) {
        const float* p = &in[i].x;
        float* q = &out[i].x;
        const __m128 a = _mm_loadu_ps(p), b = _mm_loadu_ps(p + 4), c = _mm_loadu_ps(p + 8);
        const __m128 yy = ECS_SHUFFLE(a, b, 1, 1, 0, 0), zz = ECS_SHUFFLE(a, b, 2, 2, 1, 1); // y0 y0 y1 y1, z0 z0 z1 z1
        const __m128 xx = ECS_SHUFFLE(b, c, 2, 2, 1, 1),
                     yy2 = ECS_SHUFFLE(b, c, 3, 3, 2, 2); // x2 x2 x3 x3, y2 y2 y3 y3
        const __m128 first =
            sum(k[0], ECS_SHUFFLE(a, a, 0, 0, 0, 3), ECS_SHUFFLE(yy, yy, 0, 0, 0, 2), ECS_SHUFFLE(zz, zz, 0, 0, 0, 2));
        const __m128 second =
            sum(k[1], ECS_SHUFFLE(a, b, 3, 3, 2, 2), ECS_SHUFFLE(b, b, 0, 0, 3, 3), ECS_SHUFFLE(b, c, 1, 1, 0, 0));
        const __m128 third = sum(k[2], ECS_SHUFFLE(xx, xx, 0, 2, 2, 2), ECS_SHUFFLE(yy2, yy2, 0, 2, 2, 2),
                                 ECS_SHUFFLE(c, c, 0, 3, 3, 3));
        _mm_storeu_ps(q, first);
        _mm_storeu_ps(q + 4, second);
        _mm_storeu_ps(q + 8, third);
    }
#endif
    for (; i < count; ++i)
        out[i] = transformPoint(in[i]);
}

float CMatrix4::getDeterminant() const
{
    return expand(signedMinors(*this), -1.0f);
}

bool CMatrix4::getInverse(CMatrix4& inverse) const
{
#if ECS_MATH_SSE2
    __m128 r0 = _mm_loadu_ps(m_afData), r1 = _mm_loadu_ps(m_afData + 4), r2 = _mm_loadu_ps(m_afData + 8),
           r3 = _mm_loadu_ps(m_afData + 12);
    _MM_TRANSPOSE4_PS(r0, r1, r2, r3); // columns to rows
    __m128 s, c, sSizes, cSizes;
    lowMinors(r0, r1, s, sSizes);
    lowMinors(r2, r3, c, cSizes);
    // Minors 4 and 5 of both row pairs at once: (s4, s5, c4, c5).
    const __m128 p = _mm_mul_ps(ECS_SHUFFLE(r0, r2, 1, 2, 1, 2), ECS_SHUFFLE(r1, r3, 3, 3, 3, 3));
    const __m128 q = _mm_mul_ps(ECS_SHUFFLE(r0, r2, 3, 3, 3, 3), ECS_SHUFFLE(r1, r3, 1, 2, 1, 2));
    const __m128 hi = _mm_sub_ps(p, q), hiSizes = _mm_add_ps(absolute(p), absolute(q));
    const float det = expandLanes(s, c, hi, _mm_set_ps(0.0f, 0.0f, -0.0f, 0.0f), _mm_set_ps(0.0f, 0.0f, 0.0f, -0.0f));
    const float permanent = expandLanes(sSizes, cSizes, hiSizes, _mm_setzero_ps(), _mm_setzero_ps());
#else
    const tagMinors m = signedMinors(*this);
    const float det = expand(m, -1.0f);
    const float permanent = expand(minorsOf(*this, [](float p, float q) { return std::fabs(p) + std::fabs(q); }), 1.0f);
#endif
    // Written so that NaN and infinity fail the test.
    if (!(std::fabs(det) > SINGULAR_EPSILON * permanent) || !std::isfinite(permanent))
        return false;
    const float f = 1.0f / det;
#if ECS_MATH_SSE2
    __m128 c1, c2, c3, s1, s2, s3;
    factors(c, ECS_SHUFFLE(hi, hi, 3, 2, 3, 2), c1, c2, c3);
    factors(s, ECS_SHUFFLE(hi, hi, 1, 0, 1, 0), s1, s2, s3);
    const __m128 plus = _mm_set1_ps(f), minus = _mm_set1_ps(-f);
    float* out = inverse.m_afData;
    _mm_storeu_ps(out, _mm_mul_ps(adjugateColumn(r1, c1, c2, c3), plus));
    _mm_storeu_ps(out + 4, _mm_mul_ps(adjugateColumn(r0, c1, c2, c3), minus));
    _mm_storeu_ps(out + 8, _mm_mul_ps(adjugateColumn(r3, s1, s2, s3), plus));
    _mm_storeu_ps(out + 12, _mm_mul_ps(adjugateColumn(r2, s1, s2, s3), minus));
#else
    const auto column = [&m, this](unsigned int row, const float* n, float scale) {
        const CVector4 r = getRow(row);
        return (CVector4(r.y, r.x, r.x, r.x) * CVector4(n[5], -n[5], n[4], -n[3]) +
                CVector4(r.z, r.z, r.y, r.y) * CVector4(-n[4], n[2], -n[2], n[1]) +
                CVector4(r.w, r.w, r.w, r.z) * CVector4(n[3], -n[1], n[0], -n[0])) *
               scale;
    };
    inverse = CMatrix4(column(1, m.c, f), column(0, m.c, -f), column(3, m.s, f), column(2, m.s, -f));
#endif
    return true;
}

void CMatrix4::setTranslation(const CVector3& offset)
{
    *this = CMatrix4();
    setColumn(3, CVector4(offset, 1.0f));
}

void CMatrix4::setScale(const CVector3& factors)
{
    *this = CMatrix4();
    set(0, 0, factors.x);
    set(1, 1, factors.y);
    set(2, 2, factors.z);
}

bool CMatrix4::setRotation(float radians, const CVector3& axis)
{
    const CVector3 unit = axis.getNormalized();
    if (unit == CVector3())
        return false;
    *this = rotationMatrix(radians, unit);
    return true;
}

bool CMatrix4::setLookAt(const CVector3& eye, const CVector3& center, const CVector3& up)
{
    const CVector3 f = (center - eye).getNormalized();
    const CVector3 s = f.cross(up).getNormalized();
    if (f == CVector3() || s == CVector3())
        return false;
    const CVector3 u = s.cross(f);
    *this = CMatrix4(CVector4(s.x, u.x, -f.x, 0.0f), CVector4(s.y, u.y, -f.y, 0.0f), CVector4(s.z, u.z, -f.z, 0.0f),
                     CVector4(-s.dot(eye), -u.dot(eye), f.dot(eye), 1.0f));
    return true;
}

bool CMatrix4::setPerspective(float fovY, float aspect, float zNear, float zFar)
{
    const float tanHalf = std::tan(fovY / 2.0f);
    if (aspect == 0.0f || zNear == zFar || tanHalf == 0.0f || !std::isfinite(tanHalf))
        return false;
    const float depth = zFar - zNear;
    *this = CMatrix4(CVector4(1.0f / (aspect * tanHalf), 0.0f, 0.0f, 0.0f), CVector4(0.0f, 1.0f / tanHalf, 0.0f, 0.0f),
                     CVector4(0.0f, 0.0f, -(zFar + zNear) / depth, -1.0f),
                     CVector4(0.0f, 0.0f, -(2.0f * zFar * zNear) / depth, 0.0f));
    return true;
}

bool CMatrix4::setOrthographic(float left, float right, float bottom, float top, float zNear, float zFar)
{
    if (left == right || bottom == top || zNear == zFar)
        return false;
    const float w = right - left, h = top - bottom, d = zFar - zNear;
    *this = CMatrix4(CVector4(2.0f / w, 0.0f, 0.0f, 0.0f), CVector4(0.0f, 2.0f / h, 0.0f, 0.0f),
                     CVector4(0.0f, 0.0f, -2.0f / d, 0.0f),
                     CVector4(-(right + left) / w, -(top + bottom) / h, -(zFar + zNear) / d, 1.0f));
    return true;
}

void CMatrix4::translate(const CVector3& offset)
{
    setColumn(3, getColumn(0) * offset.x + getColumn(1) * offset.y + getColumn(2) * offset.z + getColumn(3));
}

void CMatrix4::scale(const CVector3& factors)
{
    setColumn(0, getColumn(0) * factors.x);
    setColumn(1, getColumn(1) * factors.y);
    setColumn(2, getColumn(2) * factors.z);
}

bool CMatrix4::rotate(float radians, const CVector3& axis)
{
    const CVector3 unit = axis.getNormalized();
    if (unit == CVector3())
        return false;
    *this = *this * rotationMatrix(radians, unit);
    return true;
}

} // namespace Trell
