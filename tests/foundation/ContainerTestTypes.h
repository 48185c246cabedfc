#pragma once

#include <foundation/CMemory.h>
#include <foundation/CObject.h>

#include <gtest/gtest.h>

// Element and object types that count their lifetimes, so container tests
// can prove that nothing leaks, dies twice or is used after it died.

namespace ContainerTest {

// A value with a non-trivial copy, move and destructor. A stamp marks live
// instances; touching a dead or never-constructed one fails the test.
class CTracked
{
    TRELL_DECLARE_ALLOCATOR(u"CTracked")

public:
    static int s_iLive;
    static int s_iConstructed;
    static int s_iDestroyed;

    static void resetCounters()
    {
        s_iLive = 0;
        s_iConstructed = 0;
        s_iDestroyed = 0;
    }

    CTracked(int value = 0) : m_iValue(value), m_uiStamp(ALIVE) { born(); }
    CTracked(const CTracked& other) : m_iValue(other.value()), m_uiStamp(ALIVE) { born(); }
    CTracked(CTracked&& other) noexcept : m_iValue(other.value()), m_uiStamp(ALIVE)
    {
        other.m_iValue = -1;
        born();
    }
    CTracked& operator=(const CTracked& other)
    {
        check();
        m_iValue = other.value();
        return *this;
    }
    ~CTracked()
    {
        check();
        m_uiStamp = DEAD;
        --s_iLive;
        ++s_iDestroyed;
    }

    int value() const
    {
        check();
        return m_iValue;
    }
    bool operator==(const CTracked& other) const { return value() == other.value(); }
    bool operator<(const CTracked& other) const { return value() < other.value(); }

private:
    static constexpr unsigned int ALIVE = 0xA11FE5u;
    static constexpr unsigned int DEAD = 0xDEADu;

    void born()
    {
        ++s_iLive;
        ++s_iConstructed;
    }
    void check() const { EXPECT_EQ(m_uiStamp, ALIVE) << "use of a destroyed or unconstructed element"; }

    int m_iValue;
    unsigned int m_uiStamp;
};

inline int CTracked::s_iLive = 0;
inline int CTracked::s_iConstructed = 0;
inline int CTracked::s_iDestroyed = 0;

// A library object that reports its destruction.
class CCountedObject : public Trell::CObject
{
    TRELL_DECLARE_ALLOCATOR(u"CCountedObject")

public:
    static int s_iLive;

    explicit CCountedObject(int id = 0) : m_iId(id) { ++s_iLive; }
    ~CCountedObject() override { --s_iLive; }
    int id() const { return m_iId; }

private:
    int m_iId;
};

inline int CCountedObject::s_iLive = 0;

// Every test on this fixture ends with no tracked element and no counted
// object alive.
class CTrackedTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        CTracked::resetCounters();
        CCountedObject::s_iLive = 0;
    }
    void TearDown() override
    {
        EXPECT_EQ(CTracked::s_iLive, 0) << "elements leaked or destroyed twice";
        EXPECT_EQ(CTracked::s_iConstructed, CTracked::s_iDestroyed);
        EXPECT_EQ(CCountedObject::s_iLive, 0);
    }
};

} // namespace ContainerTest
