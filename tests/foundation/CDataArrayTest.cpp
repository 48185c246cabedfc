#include <foundation/CArrayPtr.h>
#include <foundation/CDataArray.h>
#include <foundation/CObjectArray.h>

#include "foundation/ContainerTestTypes.h"

#include <gtest/gtest.h>

#include <climits>
#include <vector>

using namespace Trell;
using ContainerTest::CCountedObject;
using ContainerTest::CTracked;

namespace {

template <class T>
std::vector<int> valuesOf(const CDataArray<T>& array)
{
    std::vector<int> values;
    for (const T& element : array) {
        if constexpr (std::is_same_v<T, int>)
            values.push_back(element);
        else
            values.push_back(element.value());
    }
    return values;
}

// Every test with tracked elements ends with none alive.
class CDataArrayTracked : public ::testing::Test
{
protected:
    void SetUp() override { CTracked::resetCounters(); }
    void TearDown() override
    {
        EXPECT_EQ(CTracked::s_iLive, 0) << "elements leaked or destroyed twice";
        EXPECT_EQ(CTracked::s_iConstructed, CTracked::s_iDestroyed);
    }
};

} // namespace

TEST(CDataArray, CapacityGrowsByHalfPlusOneStepByStep)
{
    CDataArray<int> array;
    EXPECT_EQ(array.getCapacity(), 0u);
    EXPECT_EQ(array.getData(), nullptr);
    const unsigned int expected[] = {1, 2, 4, 4, 7, 7, 7, 11, 11, 11, 11, 17};
    for (unsigned int i = 0; i < sizeof(expected) / sizeof(expected[0]); ++i) {
        ASSERT_TRUE(array.add(static_cast<int>(i)));
        EXPECT_EQ(array.getCapacity(), expected[i]) << "after " << (i + 1) << " appends";
    }
    EXPECT_EQ(array.getCount(), 12u);
}

TEST(CDataArray, InsertAndRemoveKeepOrder)
{
    CDataArray<int> array;
    for (int i = 0; i < 5; ++i)
        array.add(i * 10);
    EXPECT_TRUE(array.insertAt(0, -1));
    EXPECT_TRUE(array.insertAt(3, 15));
    EXPECT_TRUE(array.insertAt(array.getCount(), 99));
    EXPECT_EQ(valuesOf(array), (std::vector<int>{-1, 0, 10, 15, 20, 30, 40, 99}));

    EXPECT_TRUE(array.removeAt(0));
    EXPECT_TRUE(array.removeAt(2));
    EXPECT_TRUE(array.removeAt(array.getCount() - 1));
    EXPECT_EQ(valuesOf(array), (std::vector<int>{0, 10, 20, 30, 40}));
    EXPECT_EQ(array.getCapacity(), 11u) << "removal does not shrink";
}

TEST(CDataArray, OutOfRangeIndicesAreRefused)
{
    CDataArray<int> array;
    EXPECT_FALSE(array.removeAt(0));
    EXPECT_FALSE(array.insertAt(1, 5));
    array.add(1);
    EXPECT_FALSE(array.insertAt(2, 5));
    EXPECT_FALSE(array.removeAt(1));
    EXPECT_EQ(valuesOf(array), (std::vector<int>{1}));
}

TEST(CDataArray, SearchAndRemoveByValue)
{
    CDataArray<int> array;
    for (int v : {4, 7, 4, 9})
        array.add(v);
    EXPECT_EQ(array.indexOf(4), 0);
    EXPECT_EQ(array.indexOf(9), 3);
    EXPECT_EQ(array.indexOf(5), -1);
    EXPECT_TRUE(array.contains(7));
    EXPECT_FALSE(array.contains(8));
    EXPECT_TRUE(array.remove(4));
    EXPECT_EQ(valuesOf(array), (std::vector<int>{7, 4, 9}));
    EXPECT_FALSE(array.remove(5));
}

TEST(CDataArray, ReserveAndUnrepresentableSizes)
{
    CDataArray<int> array;
    array.add(1);
    array.add(2);
    EXPECT_TRUE(array.reserve(50));
    EXPECT_EQ(array.getCapacity(), 50u);
    EXPECT_TRUE(array.reserve(10)) << "already large enough";
    EXPECT_EQ(array.getCapacity(), 50u);

    // More bytes than one allocation request can carry: refused, array unchanged.
    EXPECT_FALSE(array.reserve(UINT_MAX));
    EXPECT_EQ(array.getCapacity(), 50u);
    EXPECT_EQ(valuesOf(array), (std::vector<int>{1, 2}));
}

TEST(CDataArray, ClearGivesStorageBackAndGrowthRestarts)
{
    CDataArray<int> array;
    for (int i = 0; i < 10; ++i)
        array.add(i);
    array.clear();
    EXPECT_EQ(array.getCount(), 0u);
    EXPECT_EQ(array.getCapacity(), 0u);
    array.add(1);
    EXPECT_EQ(array.getCapacity(), 1u);
}

TEST(CDataArray, CopiesAreDeepAndFresh)
{
    CDataArray<int> array;
    array.addRef();
    for (int i = 0; i < 3; ++i)
        array.add(i);
    CDataArray<int> copy(array);
    EXPECT_EQ(copy.getRef(), 0) << "a copied container is a new object";
    copy[0] = 100;
    copy.add(3);
    EXPECT_EQ(valuesOf(array), (std::vector<int>{0, 1, 2}));
    EXPECT_EQ(valuesOf(copy), (std::vector<int>{100, 1, 2, 3}));

    array = copy;
    EXPECT_EQ(array.getRef(), 1) << "assignment leaves the reference count alone";
    EXPECT_EQ(valuesOf(array), (std::vector<int>{100, 1, 2, 3}));

    CDataArray<int> moved(std::move(copy));
    EXPECT_EQ(copy.getCount(), 0u);
    EXPECT_EQ(moved.getCount(), 4u);
}

TEST_F(CDataArrayTracked, GrowthInsertAndRemoveNeitherLeakNorDestroyTwice)
{
    {
        CDataArray<CTracked> array;
        for (int i = 0; i < 40; ++i)
            ASSERT_TRUE(array.add(CTracked(i)));
        EXPECT_EQ(CTracked::s_iLive, 40);
        array.insertAt(0, CTracked(-1));
        array.insertAt(20, CTracked(-2));
        EXPECT_EQ(CTracked::s_iLive, 42);
        array.removeAt(0);
        array.removeAt(19);
        array.removeAt(array.getCount() - 1);
        EXPECT_EQ(CTracked::s_iLive, 39);
        for (unsigned int i = 0; i < array.getCount(); ++i)
            EXPECT_EQ(array[i].value(), static_cast<int>(i));
        EXPECT_TRUE(array.remove(CTracked(5)));
        EXPECT_EQ(CTracked::s_iLive, 38);
    }
}

TEST_F(CDataArrayTracked, AddingAnOwnElementSurvivesGrowthAndShifting)
{
    CDataArray<CTracked> array;
    array.add(CTracked(7));
    // Count equals capacity: the add reallocates while reading from the old block.
    ASSERT_EQ(array.getCount(), array.getCapacity());
    EXPECT_TRUE(array.add(array[0]));
    array.reserve(10);
    // Room to spare: the insert shifts the very element it copies.
    EXPECT_TRUE(array.insertAt(0, array[1]));
    EXPECT_TRUE(array.insertAt(1, array[2]));
    ASSERT_EQ(array.getCount(), 4u);
    for (const CTracked& element : array)
        EXPECT_EQ(element.value(), 7);

    // Moving an own element in: it arrives intact and its old slot keeps the moved-from value.
    array[3] = CTracked(8);
    EXPECT_TRUE(array.insertAt(0, std::move(array[3])));
    std::vector<int> expected{8, 7, 7, 7, -1};
    EXPECT_EQ(valuesOf(array), expected);
}

TEST_F(CDataArrayTracked, CopyClearAndAssignmentBalanceConstructions)
{
    CDataArray<CTracked> array;
    for (int i = 0; i < 9; ++i)
        array.add(CTracked(i));
    {
        CDataArray<CTracked> copy(array);
        EXPECT_EQ(CTracked::s_iLive, 18);
        copy = array;
        EXPECT_EQ(CTracked::s_iLive, 18);
        copy.clear();
        EXPECT_EQ(CTracked::s_iLive, 9);
        copy = array;
        CDataArray<CTracked> moved(std::move(copy));
        EXPECT_EQ(CTracked::s_iLive, 18);
    }
    EXPECT_EQ(CTracked::s_iLive, 9);
    array.reset();
    EXPECT_EQ(CTracked::s_iLive, 0);
}

TEST(CObjectArray, OwningArrayDeletesOnRemoveClearAndDestruction)
{
    CCountedObject::s_iLive = 0;
    {
        CObjectArray<CCountedObject> array(true);
        for (int i = 0; i < 5; ++i)
            array.add(new CCountedObject(i));
        CCountedObject* shared = array[1];
        shared->addRef();
        shared->addRef();
        EXPECT_TRUE(array.removeAt(1)) << "deleted whatever its reference count";
        EXPECT_EQ(CCountedObject::s_iLive, 4);
        EXPECT_TRUE(array.remove(array[0]));
        EXPECT_EQ(CCountedObject::s_iLive, 3);

        CCountedObject* taken = array.takeFirst();
        ASSERT_NE(taken, nullptr);
        EXPECT_EQ(taken->id(), 2);
        EXPECT_EQ(CCountedObject::s_iLive, 3) << "taking hands the object out alive";
        delete taken;
        EXPECT_EQ(array.getCount(), 2u);
    }
    EXPECT_EQ(CCountedObject::s_iLive, 0);
}

TEST(CObjectArray, NonOwningArrayLeavesObjectsAlone)
{
    CCountedObject::s_iLive = 0;
    CCountedObject a(1), b(2);
    {
        CObjectArray<CCountedObject> array;
        EXPECT_FALSE(array.isOwning());
        array.add(&a);
        array.insertAt(0, &b);
        EXPECT_EQ(array.indexOf(&a), 1);
        EXPECT_EQ(array.getAt(2), nullptr);
        EXPECT_TRUE(array.removeAt(0));
        array.clear();
        array.add(&b);
    }
    EXPECT_EQ(CCountedObject::s_iLive, 2);
}

TEST(CArrayPtr, OwnsValueInitialisedStorageAndTransfersIt)
{
    CArrayPtr<unsigned char> bytes(16);
    ASSERT_EQ(bytes.getCount(), 16u);
    for (unsigned char byte : bytes)
        EXPECT_EQ(byte, 0);
    bytes[3] = 0xAB;

    CArrayPtr<unsigned char> moved(std::move(bytes));
    EXPECT_TRUE(bytes.isNull());
    EXPECT_EQ(bytes.getCount(), 0u);
    EXPECT_EQ(moved[3], 0xAB);

    unsigned int count = moved.getCount();
    unsigned char* raw = moved.release();
    EXPECT_TRUE(moved.isNull());
    CArrayPtr<unsigned char> adopted(raw, count);
    EXPECT_EQ(adopted.getCount(), 16u);
    EXPECT_EQ(adopted.get(), raw);

    CArrayPtr<unsigned char> none(0u);
    EXPECT_TRUE(none.isNull());
}

TEST(CArrayPtr, DestroysNonTrivialElementsOnResetAndDestruction)
{
    CTracked::resetCounters();
    {
        CArrayPtr<CTracked> items(4);
        EXPECT_EQ(CTracked::s_iLive, 4);
        items.reset(CArrayPtr<CTracked>::allocate(2), 2);
        EXPECT_EQ(CTracked::s_iLive, 2);
        CArrayPtr<CTracked> other(3);
        items = std::move(other);
        EXPECT_EQ(CTracked::s_iLive, 3);
        CTracked* raw = items.release();
        CArrayPtr<CTracked>::deallocate(raw, 3);
        EXPECT_EQ(CTracked::s_iLive, 0);
        items.reset(CArrayPtr<CTracked>::allocate(5), 5);
    }
    EXPECT_EQ(CTracked::s_iLive, 0);
}
