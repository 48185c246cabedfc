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
    static inline int s_iLive = 0;

    CTracked(int value = 0) : m_iValue(value) { ++s_iLive; }
    CTracked(const CTracked& other) : m_iValue(other.value()) { ++s_iLive; }
    CTracked(CTracked&& other) noexcept : m_iValue(other.value())
    {
        other.m_iValue = -1;
        ++s_iLive;
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
        m_uiStamp = 0xDEADu;
        --s_iLive;
    }
    int value() const
    {
        check();
        return m_iValue;
    }
    bool operator==(const CTracked& other) const { return value() == other.value(); }
    bool operator<(const CTracked& other) const { return value() < other.value(); }

private:
    void check() const { EXPECT_EQ(m_uiStamp, 0xA11FE5u) << "use of a destroyed or unconstructed element"; }

    int m_iValue;
    unsigned int m_uiStamp = 0xA11FE5u;
};

// A library object that reports its destruction.
class CCountedObject : public Trell::CObject
{
    TRELL_DECLARE_ALLOCATOR(u"CCountedObject")

public:
    static inline int s_iLive = 0;

    explicit CCountedObject(int id = 0) : m_iId(id) { ++s_iLive; }
    ~CCountedObject() override { --s_iLive; }
    int id() const { return m_iId; }

private:
    int m_iId;
};

// Every test on this fixture ends with no tracked element and no counted object alive.
class CTrackedTest : public ::testing::Test
{
protected:
    void SetUp() override { CTracked::s_iLive = CCountedObject::s_iLive = 0; }
    void TearDown() override
    {
        EXPECT_EQ(CTracked::s_iLive, 0) << "elements leaked or destroyed twice";
        EXPECT_EQ(CCountedObject::s_iLive, 0);
    }
};

} // namespace ContainerTest
