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

std::vector<int> valuesOf(const CDataArray<CTracked>& array)
{
    std::vector<int> values;
    for (const CTracked& element : array)
        values.push_back(element.value());
    return values;
}

} // namespace

TEST(CDataArray, CapacityGrowsByHalfPlusOneAndCopiesAreFreshObjects)
{
    CDataArray<int> array;
    EXPECT_EQ(array.getData(), nullptr);
    std::vector<unsigned int> capacities;
    for (int i = 0; i < 12; ++i) {
        ASSERT_TRUE(array.add(i));
        capacities.push_back(array.getCapacity());
    }
    EXPECT_EQ(capacities, (std::vector<unsigned int>{1, 2, 4, 4, 7, 7, 7, 11, 11, 11, 11, 17}));
    EXPECT_TRUE(array.removeAt(0) && array.getCapacity() == 17u) << "removal never shrinks";
    EXPECT_TRUE(array.reserve(50) && array.reserve(10) && array.getCapacity() == 50u);
    // More bytes than one allocation request can carry: refused, array unchanged.
    EXPECT_FALSE(array.reserve(UINT_MAX));
    EXPECT_TRUE(array.getCapacity() == 50u && array.getCount() == 11u);

    array.addRef();
    CDataArray<int> copy(array);
    copy[0] = 100;
    EXPECT_EQ(std::make_tuple(copy.getRef(), array[0]), std::make_tuple(0, 1)) << "a deep copy is a new object";
    array = copy;
    EXPECT_EQ(std::make_tuple(array.getRef(), array[0]), std::make_tuple(1, 100)) << "assignment keeps the count";
    array.clear();
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
        const auto found = std::find(reference.begin(), reference.end(), value);
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
        case 3:
            ASSERT_EQ(array.indexOf(CTracked(value)), found == reference.end() ? -1 : int(found - reference.begin()));
            ASSERT_EQ(array.remove(CTracked(value)), found != reference.end());
            if (found != reference.end())
                reference.erase(found);
            break;
        default:
            ASSERT_TRUE(array.add(CTracked(value)));
            reference.push_back(value);
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

TEST_F(CTrackedTest, AddingAnOwnElementSurvivesGrowthAndShifting)
{
    CDataArray<CTracked> array;
    array.add(CTracked(7));
    // Count equals capacity: the add reallocates while reading from the old block.
    ASSERT_EQ(array.getCount(), array.getCapacity());
    EXPECT_TRUE(array.add(array[0]));
    array.reserve(10);
    // Room to spare: the insert shifts the very element it copies.
    EXPECT_TRUE(array.insertAt(0, array[1]) && array.insertAt(1, array[2]));
    // Moving an own element in: it arrives intact and its old slot keeps the moved-from value.
    array[3] = CTracked(8);
    EXPECT_TRUE(array.insertAt(0, std::move(array[3])));
    EXPECT_EQ(valuesOf(array), (std::vector<int>{8, 7, 7, 7, -1}));
}

TEST_F(CTrackedTest, OwningObjectArrayDeletesOnRemoveClearAndDestructionOthersNever)
{
    CCountedObject kept(1);
    {
        CObjectArray<CCountedObject> array(true);
        for (int i = 0; i < 5; ++i)
            array.add(new CCountedObject(i));
        array[1]->addRef();
        EXPECT_TRUE(array.removeAt(1)) << "deleted whatever its reference count";
        EXPECT_TRUE(array.remove(array[0]));
        CCountedObject* taken = array.takeFirst();
        EXPECT_EQ(std::make_tuple(taken->id(), CCountedObject::s_iLive), std::make_tuple(2, 4))
            << "taking hands the object out alive";
        delete taken;
        EXPECT_EQ(array.getAt(2), nullptr);
        CObjectArray<CCountedObject> borrowing;
        borrowing.add(&kept);
        EXPECT_TRUE(borrowing.removeAt(0));
        borrowing.add(&kept);
    }
    EXPECT_EQ(CCountedObject::s_iLive, 1);
}

TEST_F(CTrackedTest, ArrayPtrOwnsValueInitialisedStorageAndTransfersIt)
{
    CArrayPtr<unsigned char> bytes(16);
    EXPECT_TRUE(bytes.getCount() == 16u && std::count(bytes.begin(), bytes.end(), 0) == 16);
    bytes[3] = 0xAB;
    CArrayPtr<unsigned char> moved(std::move(bytes));
    EXPECT_TRUE(bytes.isNull() && bytes.getCount() == 0);
    CArrayPtr<unsigned char> adopted(moved.release(), 16);
    EXPECT_TRUE(moved.isNull() && adopted[3] == 0xAB);

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
