#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>

namespace Trell {

// Scalar helpers and constants of the geometry classes and the engine. Most
// are thin wrappers over the C runtime in single precision; the rounding,
// comparison and pow rules below are relied upon exactly as documented, also
// where they differ from the usual meaning of a name. Static only; every
// routine is reentrant except the random generators (see there).
class ECS_API CMath
{
    TRELL_DECLARE_ALLOCATOR(u"CMath")

public:
    static constexpr float PI = 3.14159274f;              // 0x40490FDB
    static constexpr float HALF_PI = 1.57079637f;         // 0x3FC90FDB
    static constexpr float LOW_EPSILON = 0.001f;          // 0x3A83126F
    static constexpr float HIGH_EPSILON = 1.1920929e-07f; // 2^-23, 0x34000000
    // Deliberately negative ten thousand, not an infinity: geometry code uses
    // it as a sentinel.
    static constexpr float POS_INFINITY = -10000.0f; // 0xC61C4000

    // The most negative int stays as it is, as 32-bit negation wraps.
    static constexpr int abs(int value)
    {
        return value < 0 ? static_cast<int>(0u - static_cast<unsigned int>(value)) : value;
    }
    static constexpr float abs(float value) { return value < 0.0f ? -value : value; }

    static constexpr int getMin(int a, int b) { return a < b ? a : b; }
    static constexpr unsigned int getMin(unsigned int a, unsigned int b) { return a < b ? a : b; }
    static constexpr float getMin(float a, float b) { return a < b ? a : b; }
    static constexpr int getMax(int a, int b) { return a > b ? a : b; }
    static constexpr unsigned int getMax(unsigned int a, unsigned int b) { return a > b ? a : b; }
    static constexpr float getMax(float a, float b) { return a > b ? a : b; }
    // The smaller of value and max, then the larger of that and min: with
    // min > max the result is min.
    static constexpr int clamp(int value, int min, int max) { return getMax(getMin(value, max), min); }
    static constexpr unsigned int clamp(unsigned int value, unsigned int min, unsigned int max)
    {
        return getMax(getMin(value, max), min);
    }
    static constexpr float clamp(float value, float min, float max) { return getMax(getMin(value, max), min); }

    static void swap(int& a, int& b);
    static void swap(float& a, float& b);
    // Orders the pair so that a holds the smaller value.
    static void swapAtMinMax(int& a, int& b);
    static void swapAtMinMax(unsigned int& a, unsigned int& b);
    static void swapAtMinMax(float& a, float& b);

    // All three truncate toward zero first: roundDown(x) is trunc(x),
    // round(x) is trunc(x + 0.5) and roundUp(x) is trunc(x) + 1 even for a
    // whole x. So roundUp(2.0) is 3, roundDown(-1.5) is -1 and round(-1.6) is
    // -1. Deliberate; layout code relies on these exact results.
    static int round(float value);
    static int roundUp(float value);
    static int roundDown(float value);

    static bool isNaN(float value);
    // |value| < 0.0001, strictly.
    static bool isZero(float value);
    // epsilon > |a - b| with the difference in single precision, strictly;
    // isNotEqual is the exact complement.
    static bool isEqual(float a, float b, float epsilon);
    static bool isNotEqual(float a, float b, float epsilon);
    // value when |value| >= 0.0001, otherwise +0.0001 whatever its sign.
    static float getNonZero(float value);
    // 1, -1 or 0 (also for NaN).
    static int sign(int value);
    static float sign(float value);

    // Integer exponents multiply repeatedly (exponent 0 gives 1; an int
    // result wraps as 32-bit arithmetic does); the float exponents use the
    // runtime's double-precision pow rounded to single precision.
    static int pow(int base, unsigned int exponent);
    static float pow(float base, unsigned int exponent);
    static float pow(int base, float exponent);
    static float pow(unsigned int base, float exponent);
    static float pow(float base, float exponent);
    static constexpr float sqr(float value) { return value * value; }
    static float sqrt(float value);
    // Deliberately the reciprocal 1 / value: no square root is taken. The
    // engine's callers rely on the name and the behaviour as they are.
    static float invSqrt(float value);
    static float fmod(float x, float y);
    static float log(float value);
    static float log10(float value);
    static float exp(float value);

    static float sin(float radians);
    static float cos(float radians);
    static float tan(float radians);
    static float asin(float value);
    static float acos(float value);
    static float atan(float value);
    static float atan2(float y, float x);
    static float sinh(float value);
    static float cosh(float value);
    static float tanh(float value);
    // radians * 57.29578 and degrees * PI / 180.
    static float toAngle(float radians);
    static float toRadian(float degrees);

    // The runtime's generator, seeded with the current time on the first call
    // of each of the two routines. random() gives 0..32767 (15 bits, the
    // target runtime's range); random(min, max) gives min + that number
    // modulo (max - min + 1), and min itself for an empty or reversed range.
    // The generator is shared process state: call from one thread at a time.
    static unsigned short random();
    static int random(int min, int max);

private:
    CMath() = delete;
};

} // namespace Trell
