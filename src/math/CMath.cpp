#include <math/CMath.h>

#include <cmath>
#include <cstdlib>
#include <ctime>

namespace Trell {

namespace {

// Below this magnitude a float counts as zero (isZero, getNonZero).
constexpr float ZERO_LIMIT = 0.0001f;

// The runtime's next number narrowed to the 15 bits that the target
// runtime's rand() delivers, so both platforms share one range.
unsigned int nextRandom()
{
    return static_cast<unsigned int>(std::rand()) & 0x7FFFu;
}

// Truncation toward zero. Out of range and NaN give INT_MIN, as the target's
// conversion instruction does, instead of leaving the result undefined.
int truncate(float value)
{
    if (!(value > -2147483904.0f && value < 2147483648.0f))
        return static_cast<int>(0x80000000u);
    return static_cast<int>(value);
}

void seedFromClock()
{
    std::srand(static_cast<unsigned int>(std::time(nullptr)));
}

} // namespace

void CMath::swap(int& a, int& b)
{
    const int t = a;
    a = b;
    b = t;
}

void CMath::swap(float& a, float& b)
{
    const float t = a;
    a = b;
    b = t;
}

void CMath::swapAtMinMax(int& a, int& b)
{
    if (b < a)
        swap(a, b);
}

void CMath::swapAtMinMax(unsigned int& a, unsigned int& b)
{
    if (b < a) {
        const unsigned int t = a;
        a = b;
        b = t;
    }
}

void CMath::swapAtMinMax(float& a, float& b)
{
    if (b < a)
        swap(a, b);
}

int CMath::round(float value)
{
    return truncate(value + 0.5f);
}

int CMath::roundUp(float value)
{
    // Wraps like the target's 32-bit addition at the top of the range.
    return static_cast<int>(static_cast<unsigned int>(truncate(value)) + 1u);
}

int CMath::roundDown(float value)
{
    return truncate(value);
}

bool CMath::isNaN(float value)
{
    return std::isnan(value);
}

bool CMath::isZero(float value)
{
    return abs(value) < ZERO_LIMIT;
}

bool CMath::isEqual(float a, float b, float epsilon)
{
    const float difference = a - b;
    return epsilon > abs(difference);
}

bool CMath::isNotEqual(float a, float b, float epsilon)
{
    return !isEqual(a, b, epsilon);
}

float CMath::getNonZero(float value)
{
    return abs(value) >= ZERO_LIMIT ? value : ZERO_LIMIT;
}

int CMath::sign(int value)
{
    return value > 0 ? 1 : (value < 0 ? -1 : 0);
}

float CMath::sign(float value)
{
    return value > 0.0f ? 1.0f : (value < 0.0f ? -1.0f : 0.0f);
}

int CMath::pow(int base, unsigned int exponent)
{
    // Unsigned multiplication wraps where int would overflow.
    unsigned int result = 1;
    for (unsigned int i = 0; i < exponent; ++i)
        result *= static_cast<unsigned int>(base);
    return static_cast<int>(result);
}

float CMath::pow(float base, unsigned int exponent)
{
    float result = 1.0f;
    for (unsigned int i = 0; i < exponent; ++i)
        result *= base;
    return result;
}

float CMath::pow(int base, float exponent)
{
    return static_cast<float>(std::pow(static_cast<double>(base), static_cast<double>(exponent)));
}

float CMath::pow(unsigned int base, float exponent)
{
    return static_cast<float>(std::pow(static_cast<double>(base), static_cast<double>(exponent)));
}

float CMath::pow(float base, float exponent)
{
    return static_cast<float>(std::pow(static_cast<double>(base), static_cast<double>(exponent)));
}

float CMath::sqrt(float value)
{
    return std::sqrt(value);
}

float CMath::invSqrt(float value)
{
    return 1.0f / value;
}

float CMath::fmod(float x, float y)
{
    return std::fmod(x, y);
}

float CMath::log(float value)
{
    return std::log(value);
}

float CMath::log10(float value)
{
    return std::log10(value);
}

float CMath::exp(float value)
{
    return std::exp(value);
}

float CMath::sin(float radians)
{
    return std::sin(radians);
}

float CMath::cos(float radians)
{
    return std::cos(radians);
}

float CMath::tan(float radians)
{
    return std::tan(radians);
}

float CMath::asin(float value)
{
    return std::asin(value);
}

float CMath::acos(float value)
{
    return std::acos(value);
}

float CMath::atan(float value)
{
    return std::atan(value);
}

float CMath::atan2(float y, float x)
{
    return std::atan2(y, x);
}

float CMath::sinh(float value)
{
    return std::sinh(value);
}

float CMath::cosh(float value)
{
    return std::cosh(value);
}

float CMath::tanh(float value)
{
    return std::tanh(value);
}

float CMath::toAngle(float radians)
{
    return radians * 57.29578f;
}

float CMath::toRadian(float degrees)
{
    return degrees * PI / 180.0f;
}

unsigned short CMath::random()
{
    static const bool s_bSeeded = (seedFromClock(), true);
    (void)s_bSeeded;
    return static_cast<unsigned short>(nextRandom());
}

int CMath::random(int min, int max)
{
    static const bool s_bSeeded = (seedFromClock(), true);
    (void)s_bSeeded;
    const long long range = static_cast<long long>(max) - min + 1;
    if (range <= 0)
        return min;
    return static_cast<int>(min + static_cast<long long>(nextRandom()) % range);
}

} // namespace Trell
