#include <foundation/CArrayPtr.h>
#include <foundation/CDataArray.h>
#include <foundation/CObjectArray.h>

#include "foundation/ContainerTestTypes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <iterator>
#include <random>
#include <vector>

using namespace Trell;
using ContainerTest::CCountedObject;
using ContainerTest::CTracked;
using ContainerTest::CTrackedTest;

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

} // namespace

TEST(CDataArray, CapacityGrowsByHalfPlusOneAndNeverShrinksOnRemoval)
{
    CDataArray<int> array;
    EXPECT_EQ(array.getData(), nullptr);
    const unsigned int expected[] = {1, 2, 4, 4, 7, 7, 7, 11, 11, 11, 11, 17};
    for (unsigned int i = 0; i < std::size(expected); ++i) {
        ASSERT_TRUE(array.add(int(i)));
        EXPECT_EQ(array.getCapacity(), expected[i]) << "after " << (i + 1) << " appends";
    }
    EXPECT_TRUE(array.removeAt(0));
    EXPECT_EQ(array.getCapacity(), 17u);
    EXPECT_TRUE(array.reserve(50));
    EXPECT_TRUE(array.reserve(10)) << "already large enough";
    EXPECT_EQ(array.getCapacity(), 50u);
    // More bytes than one allocation request can carry: refused, array unchanged.
    EXPECT_FALSE(array.reserve(UINT_MAX));
    EXPECT_EQ(array.getCapacity(), 50u);
    EXPECT_EQ(array.getCount(), 11u);
    array.clear();
    EXPECT_EQ(array.getCapacity(), 0u);
    array.add(1);
    EXPECT_EQ(array.getCapacity(), 1u) << "growth restarts after clear";
}

// Random insertions, removals and searches against std::vector, with
// elements that catch leaks, double destruction and use after destruction.
TEST_F(CTrackedTest, DataArrayMatchesStdVectorUnderRandomOperations)
{
    CDataArray<CTracked> array;
    std::vector<int> reference;
    std::mt19937 random(11);
    for (int step = 0; step < 4000; ++step) {
        const unsigned int count = array.getCount();
        const unsigned int index = random() % (count + 2); // sometimes out of range
        const int value = int(random() % 50);
        switch (random() % 5) {
        case 0:
        case 1:
            ASSERT_EQ(array.insertAt(index, CTracked(value)), index <= count);
            if (index <= count)
                reference.insert(reference.begin() + index, value);
            break;
        case 2:
            ASSERT_EQ(array.removeAt(index), index < count);
            if (index < count)
                reference.erase(reference.begin() + index);
            break;
        case 3: {
            auto found = std::find(reference.begin(), reference.end(), value);
            ASSERT_EQ(array.indexOf(CTracked(value)), found == reference.end() ? -1 : int(found - reference.begin()));
            ASSERT_EQ(array.remove(CTracked(value)), found != reference.end());
            if (found != reference.end())
                reference.erase(found);
            break;
        }
        default:
            ASSERT_TRUE(array.add(CTracked(value)));
            reference.push_back(value);
            break;
        }
        ASSERT_EQ(CTracked::s_iLive, int(reference.size()));
    }
    EXPECT_EQ(valuesOf(array), reference);

    CDataArray<CTracked> copy(array);
    copy = array;
    CDataArray<CTracked> moved(std::move(copy));
    EXPECT_EQ(copy.getCount(), 0u);
    EXPECT_EQ(valuesOf(moved), reference);
    EXPECT_EQ(CTracked::s_iLive, 2 * int(reference.size()));
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
    array = copy;
    EXPECT_EQ(array.getRef(), 1) << "assignment leaves the reference count alone";
    EXPECT_EQ(valuesOf(array), (std::vector<int>{100, 1, 2, 3}));
}

TEST_F(CTrackedTest, AddingAnOwnElementSurvivesGrowthAndShifting)
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
    // Moving an own element in: it arrives intact and its old slot keeps the moved-from value.
    array[3] = CTracked(8);
    EXPECT_TRUE(array.insertAt(0, std::move(array[3])));
    EXPECT_EQ(valuesOf(array), (std::vector<int>{8, 7, 7, 7, -1}));
}

TEST(CObjectArray, OwningArrayDeletesOnRemoveClearAndDestructionOthersNever)
{
    CCountedObject::s_iLive = 0;
    {
        CObjectArray<CCountedObject> array(true);
        for (int i = 0; i < 5; ++i)
            array.add(new CCountedObject(i));
        array[1]->addRef();
        EXPECT_TRUE(array.removeAt(1)) << "deleted whatever its reference count";
        EXPECT_TRUE(array.remove(array[0]));
        EXPECT_EQ(CCountedObject::s_iLive, 3);
        CCountedObject* taken = array.takeFirst();
        ASSERT_NE(taken, nullptr);
        EXPECT_EQ(taken->id(), 2);
        EXPECT_EQ(CCountedObject::s_iLive, 3) << "taking hands the object out alive";
        delete taken;
        EXPECT_EQ(array.getAt(2), nullptr);
    }
    EXPECT_EQ(CCountedObject::s_iLive, 0);

    CCountedObject a(1);
    {
        CObjectArray<CCountedObject> array;
        array.add(&a);
        EXPECT_TRUE(array.removeAt(0));
        array.add(&a);
    }
    EXPECT_EQ(CCountedObject::s_iLive, 1);
}

TEST_F(CTrackedTest, ArrayPtrOwnsValueInitialisedStorageAndTransfersIt)
{
    CArrayPtr<unsigned char> bytes(16);
    ASSERT_EQ(bytes.getCount(), 16u);
    for (unsigned char byte : bytes)
        EXPECT_EQ(byte, 0);
    bytes[3] = 0xAB;
    CArrayPtr<unsigned char> moved(std::move(bytes));
    EXPECT_TRUE(bytes.isNull() && bytes.getCount() == 0);
    CArrayPtr<unsigned char> adopted(moved.release(), 16);
    EXPECT_TRUE(moved.isNull());
    EXPECT_EQ(adopted[3], 0xAB);

    CArrayPtr<CTracked> items(4);
    EXPECT_EQ(CTracked::s_iLive, 4);
    items.reset(CArrayPtr<CTracked>::allocate(2), 2);
    EXPECT_EQ(CTracked::s_iLive, 2);
    items = CArrayPtr<CTracked>(3);
    EXPECT_EQ(CTracked::s_iLive, 3);
    CArrayPtr<CTracked>::deallocate(items.release(), 3);
    EXPECT_EQ(CTracked::s_iLive, 0);
    items.reset(CArrayPtr<CTracked>::allocate(5), 5);
}
