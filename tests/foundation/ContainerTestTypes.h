#pragma once

#include <foundation/CMemory.h>
#include <foundation/CObject.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <random>
#include <vector>

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

// Random insertions, removals, searches and indexed reads on a sequence
// container against its std:: counterpart; `more` adds operations of the
// container's own. Copies must then be deep and a move must empty its source.
template <class TContainer, class TReference, class TMore>
void matchSequence(TContainer& container, TReference& reference, unsigned int seed, TMore more)
{
    std::mt19937 random(seed);
    for (int step = 0; step < 4000; ++step) {
        const unsigned int count = container.getCount();
        const unsigned int index = random() % (count + 2); // sometimes out of range
        const int value = int(random() % 50);
        const auto found = std::find(reference.begin(), reference.end(), value);
        const auto at = std::next(reference.begin(), std::min(index, count));
        switch (random() % 6) {
        case 0:
        case 1:
            ASSERT_EQ(container.insertAt(index, CTracked(value)), index <= count);
            if (index <= count)
                reference.insert(at, value);
            break;
        case 2:
            ASSERT_EQ(container.removeAt(index), index < count);
            if (index < count)
                reference.erase(at);
            break;
        case 3:
            ASSERT_EQ(container.indexOf(CTracked(value)),
                      found == reference.end() ? -1 : int(std::distance(reference.begin(), found)));
            ASSERT_EQ(container.remove(CTracked(value)), found != reference.end());
            if (found != reference.end())
                reference.erase(found);
            break;
        case 4:
            ASSERT_TRUE(!count || container[index % count].value() == *std::next(reference.begin(), index % count));
            break;
        default: more(value, random() % 4);
        }
        ASSERT_EQ(container.getCount(), reference.size());
        ASSERT_EQ(CTracked::s_iLive, int(reference.size()));
    }
    std::vector<int> values;
    for (const CTracked& element : container)
        values.push_back(element.value());
    EXPECT_EQ(values, std::vector<int>(reference.begin(), reference.end()));
    ASSERT_FALSE(reference.empty());
    TContainer copy(container);
    copy[0] = CTracked(-5);
    EXPECT_EQ(container[0].value(), reference.front()) << "copies are deep";
    copy = container;
    TContainer moved(std::move(copy));
    EXPECT_EQ(copy.getCount(), 0u);
    EXPECT_EQ(CTracked::s_iLive, 2 * int(reference.size()));
}

} // namespace ContainerTest
