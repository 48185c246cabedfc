#include <foundation/CArrayPtr.h>
#include <foundation/CDataArray.h>
#include <foundation/CObjectArray.h>

#include "foundation/ContainerTestTypes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <vector>

using namespace Trell;
using namespace ContainerTest;

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
    std::vector<unsigned int> capacities;
    for (int i = 0; i < 12; ++i) {
        array.add(i);
        capacities.push_back(array.getCapacity());
    }
    EXPECT_EQ(capacities, (std::vector<unsigned int>{1, 2, 4, 4, 7, 7, 7, 11, 11, 11, 11, 17}));
    EXPECT_TRUE(array.removeAt(0) && array.reserve(50) && array.reserve(10) && array.getCapacity() == 50u)
        << "removal and a smaller reserve never shrink";
    // More bytes than one allocation request can carry: refused, array unchanged.
    EXPECT_FALSE(array.reserve(UINT_MAX));
    EXPECT_TRUE(array.getCapacity() == 50u && array.getCount() == 11u);

    array.addRef();
    CDataArray<int> copy(array);
    array = copy;
    EXPECT_EQ(std::make_tuple(copy.getRef(), array.getRef()), std::make_tuple(0, 1))
        << "a copy is a new object; assignment keeps the count";
    array.clear();
    array.add(1);
    EXPECT_EQ(array.getCapacity(), 1u) << "growth restarts after clear";
}

TEST_F(CTrackedTest, DataArrayMatchesStdVectorUnderRandomOperations)
{
    CDataArray<CTracked> array;
    std::vector<int> reference;
    matchSequence(array, reference, 11, [&](int value, unsigned int) {
        ASSERT_TRUE(array.add(CTracked(value)));
        reference.push_back(value);
    });
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
        EXPECT_TRUE(array.removeAt(1) && array.remove(array[0])) << "deleted whatever its reference count";
        CCountedObject* taken = array.takeFirst();
        EXPECT_EQ(std::make_tuple(taken->id(), CCountedObject::s_iLive), std::make_tuple(2, 4))
            << "taking hands the object out alive";
        delete taken;
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
    EXPECT_EQ(std::count(bytes.begin(), bytes.end(), 0), 16);
    bytes[3] = 0xAB;
    CArrayPtr<unsigned char> moved(std::move(bytes));
    CArrayPtr<unsigned char> adopted(moved.release(), 16);
    EXPECT_TRUE(bytes.isNull() && moved.isNull() && adopted[3] == 0xAB);

    CArrayPtr<CTracked> items(4);
    items.reset(CArrayPtr<CTracked>::allocate(2), 2);
    items = CArrayPtr<CTracked>(3);
    CArrayPtr<CTracked>::deallocate(items.release(), 3);
    EXPECT_EQ(CTracked::s_iLive, 0);
    items.reset(CArrayPtr<CTracked>::allocate(5), 5);
}
