#include <foundation/CDataList.h>
#include <foundation/CObjectList.h>

#include "foundation/ContainerTestTypes.h"

#include <gtest/gtest.h>

#include <list>
#include <random>
#include <vector>

using namespace Trell;
using ContainerTest::CCountedObject;
using ContainerTest::CTracked;

namespace {

std::vector<int> valuesOf(const CDataList<int>& list)
{
    std::vector<int> values;
    for (int v : list)
        values.push_back(v);
    return values;
}

std::vector<int> idsOf(const CObjectList<CCountedObject>& list)
{
    std::vector<int> ids;
    for (CCountedObject* object : list)
        ids.push_back(object->id());
    return ids;
}

class CDataListTracked : public ::testing::Test
{
protected:
    void SetUp() override { CTracked::resetCounters(); }
    void TearDown() override
    {
        EXPECT_EQ(CTracked::s_iLive, 0) << "elements leaked or destroyed twice";
        EXPECT_EQ(CTracked::s_iConstructed, CTracked::s_iDestroyed);
    }
};

class CObjectListTest : public ::testing::Test
{
protected:
    void SetUp() override { CCountedObject::s_iLive = 0; }
    void TearDown() override { EXPECT_EQ(CCountedObject::s_iLive, 0); }
};

} // namespace

TEST(CDataList, AddHeadAddAndInsertAtPlaceElements)
{
    CDataList<int> list;
    EXPECT_TRUE(list.add(2));
    EXPECT_TRUE(list.addHead(1));
    EXPECT_TRUE(list.add(4));
    EXPECT_TRUE(list.insertAt(2, 3));
    EXPECT_TRUE(list.insertAt(0, 0));
    EXPECT_TRUE(list.insertAt(5, 5));
    EXPECT_FALSE(list.insertAt(7, 9));
    EXPECT_EQ(valuesOf(list), (std::vector<int>{0, 1, 2, 3, 4, 5}));
    EXPECT_EQ(list.getFirst(), 0);
    EXPECT_EQ(list.getLast(), 5);
}

// Indexed reads and removals walk from either end; a random mix checked
// against std::list exercises both halves and the links they leave.
TEST(CDataList, IndexedAccessAndRemovalMatchAReferenceList)
{
    CDataList<int> list;
    std::list<int> reference;
    std::mt19937 random(7);
    for (int step = 0; step < 3000; ++step) {
        unsigned int count = list.getCount();
        unsigned int action = random() % 4;
        if (action < 2 || count == 0) {
            unsigned int index = random() % (count + 1);
            list.insertAt(index, step);
            reference.insert(std::next(reference.begin(), index), step);
        } else if (action == 2) {
            unsigned int index = random() % count;
            ASSERT_TRUE(list.removeAt(index));
            reference.erase(std::next(reference.begin(), index));
        } else {
            unsigned int index = random() % count;
            ASSERT_EQ(list[index], *std::next(reference.begin(), index));
        }
        ASSERT_EQ(list.getCount(), reference.size());
    }
    EXPECT_EQ(valuesOf(list), std::vector<int>(reference.begin(), reference.end()));
    // Backwards over the prev links too.
    std::vector<int> backwards;
    for (bool more = list.moveLast(); more; more = list.movePrev())
        backwards.push_back(*list.getCurrent());
    EXPECT_EQ(backwards, std::vector<int>(reference.rbegin(), reference.rend()));
}

TEST(CDataList, TakeFirstRemoveAndSearch)
{
    CDataList<int> list;
    for (int v : {5, 6, 5, 7})
        list.add(v);
    EXPECT_EQ(list.indexOf(5), 0);
    EXPECT_EQ(list.indexOf(7), 3);
    EXPECT_EQ(list.indexOf(8), -1);
    EXPECT_TRUE(list.remove(5));
    EXPECT_EQ(valuesOf(list), (std::vector<int>{6, 5, 7}));
    EXPECT_FALSE(list.remove(8));
    EXPECT_EQ(list.takeFirst(), 6);
    EXPECT_EQ(list.takeLast(), 7);
    EXPECT_EQ(list.takeFirst(), 5);
    EXPECT_TRUE(list.isEmpty());
    EXPECT_FALSE(list.removeAt(0));
    // The list is usable again after running empty.
    list.add(1);
    EXPECT_EQ(valuesOf(list), (std::vector<int>{1}));
}

TEST(CDataList, CursorStartsOnFirstElementAndSurvivesRemovals)
{
    CDataList<int> list;
    EXPECT_EQ(list.getCurrent(), nullptr);
    EXPECT_FALSE(list.moveFirst());
    list.add(1);
    ASSERT_NE(list.getCurrent(), nullptr) << "the first node becomes the cursor";
    EXPECT_EQ(*list.getCurrent(), 1);
    for (int v = 2; v <= 6; ++v)
        list.add(v);
    EXPECT_EQ(*list.getCurrent(), 1) << "later appends leave the cursor";

    // Remove the even elements while walking.
    for (bool more = list.moveFirst(); more;) {
        if (*list.getCurrent() % 2 == 0)
            more = list.removeCurrent();
        else
            more = list.moveNext();
    }
    EXPECT_EQ(list.getCurrent(), nullptr);
    EXPECT_EQ(valuesOf(list), (std::vector<int>{1, 3, 5}));

    list.moveFirst();
    list.moveNext();
    list.removeAt(1);
    ASSERT_NE(list.getCurrent(), nullptr);
    EXPECT_EQ(*list.getCurrent(), 5) << "removing the cursor's node moves it on";
    list.clear();
    EXPECT_EQ(list.getCurrent(), nullptr);
}

TEST(CDataList, CopiesAreDeep)
{
    CDataList<int> list;
    for (int i = 0; i < 4; ++i)
        list.add(i);
    CDataList<int> copy(list);
    copy[1] = 10;
    copy.add(4);
    EXPECT_EQ(valuesOf(list), (std::vector<int>{0, 1, 2, 3}));
    EXPECT_EQ(valuesOf(copy), (std::vector<int>{0, 10, 2, 3, 4}));
    list = copy;
    EXPECT_EQ(valuesOf(list), valuesOf(copy));
    CDataList<int> moved(std::move(copy));
    EXPECT_TRUE(copy.isEmpty());
    EXPECT_EQ(moved.getCount(), 5u);
}

TEST_F(CDataListTracked, ElementsAreDestroyedExactlyOnce)
{
    CDataList<CTracked> list;
    for (int i = 0; i < 20; ++i)
        list.add(CTracked(i));
    list.addHead(CTracked(-1));
    list.insertAt(10, CTracked(-2));
    EXPECT_EQ(CTracked::s_iLive, 22);
    list.removeAt(0);
    list.removeAt(15);
    list.remove(CTracked(-2));
    EXPECT_EQ(CTracked::s_iLive, 19);
    {
        CTracked first = list.takeFirst();
        EXPECT_EQ(first.value(), 0);
        EXPECT_EQ(CTracked::s_iLive, 18 + 1);
    }
    {
        CDataList<CTracked> copy(list);
        EXPECT_EQ(CTracked::s_iLive, 36);
        copy = list;
        EXPECT_EQ(CTracked::s_iLive, 36);
    }
    EXPECT_EQ(CTracked::s_iLive, 18);
    list.clear();
    EXPECT_EQ(CTracked::s_iLive, 0);
    list.add(CTracked(1));
}

TEST_F(CObjectListTest, OwningListDestroysRemovedObjectsWhateverTheirCount)
{
    CObjectList<CCountedObject> list(true);
    for (int i = 0; i < 4; ++i)
        list.add(new CCountedObject(i));
    CCountedObject* shared = list[2];
    shared->addRef();
    shared->addRef();
    EXPECT_TRUE(list.removeAt(2));
    EXPECT_EQ(CCountedObject::s_iLive, 3);
    EXPECT_TRUE(list.remove(list.getFirst()));
    EXPECT_EQ(CCountedObject::s_iLive, 2);
    EXPECT_EQ(idsOf(list), (std::vector<int>{1, 3}));
    list.clear();
    EXPECT_EQ(CCountedObject::s_iLive, 0);
    list.add(new CCountedObject(9));
    // The list's destructor deletes what is left.
}

TEST_F(CObjectListTest, TakingHandsObjectsOutAlive)
{
    CObjectList<CCountedObject> list(true);
    for (int i = 0; i < 4; ++i)
        list.add(new CCountedObject(i));
    CCountedObject* first = list.takeFirst();
    CCountedObject* last = list.takeLast();
    CCountedObject* at = list.takeAt(1);
    ASSERT_TRUE(first && last && at);
    EXPECT_EQ(first->id(), 0);
    EXPECT_EQ(last->id(), 3);
    EXPECT_EQ(at->id(), 2);
    EXPECT_EQ(CCountedObject::s_iLive, 4);
    EXPECT_EQ(idsOf(list), (std::vector<int>{1}));
    delete first;
    delete last;
    delete at;
    list.clear();
    EXPECT_EQ(list.takeFirst(), nullptr);
    EXPECT_EQ(list.getAt(0), nullptr);
}

TEST_F(CObjectListTest, NonOwningListNeverDeletes)
{
    CCountedObject a(1), b(2), c(3);
    {
        CObjectList<CCountedObject> list;
        list.add(&a);
        list.add(&b);
        list.addHead(&c);
        EXPECT_EQ(idsOf(list), (std::vector<int>{3, 1, 2}));
        EXPECT_TRUE(list.remove(&a));
        EXPECT_FALSE(list.remove(&a));
        list.moveFirst();
        EXPECT_EQ(list.takeCurrent(), &c);
        EXPECT_EQ(list.getCurrent(), &b);
    }
    EXPECT_EQ(CCountedObject::s_iLive, 3);
}

TEST_F(CObjectListTest, OwnershipCanBeSwitched)
{
    CCountedObject kept(1);
    CObjectList<CCountedObject> list;
    list.add(&kept);
    list.add(new CCountedObject(2));
    list.setOwning(true);
    EXPECT_TRUE(list.isOwning());
    list.removeAt(1);
    EXPECT_EQ(CCountedObject::s_iLive, 1);
    list.setOwning(false);
    list.clear();
    EXPECT_EQ(CCountedObject::s_iLive, 1);
}

// Nodes made and freed apart from the list (so that an owner can keep the
// allocator out of its lock) link and unlink exactly like add and takeFirst.
TEST_F(CObjectListTest, DetachedNodesLinkAndUnlinkLikeAddAndTakeFirst)
{
    typedef CObjectList<CCountedObject> List;
    List list(true);
    EXPECT_EQ(list.takeFirstNode(), nullptr);
    EXPECT_FALSE(list.addNode(nullptr));
    EXPECT_TRUE(list.isEmpty());

    ASSERT_TRUE(list.addNode(List::makeNode(new CCountedObject(1))));
    EXPECT_EQ(list.getCurrent()->id(), 1) << "the first element becomes the cursor";
    list.add(new CCountedObject(2));
    ASSERT_TRUE(list.addNode(List::makeNode(new CCountedObject(3))));
    EXPECT_EQ(idsOf(list), (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(list.getCount(), 3u);
    EXPECT_EQ(list.getLast()->id(), 3);

    // Taking the head node leaves its object alive even on an owning list,
    // and moves a cursor that stood on it.
    List::tagNode* node = list.takeFirstNode();
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->pObject->id(), 1);
    EXPECT_EQ(CCountedObject::s_iLive, 3);
    EXPECT_EQ(list.getCurrent()->id(), 2);
    EXPECT_EQ(list.getFirst()->id(), 2);
    EXPECT_EQ(list.getCount(), 2u);

    // The same node may join the list again, now at the tail.
    ASSERT_TRUE(list.addNode(node));
    EXPECT_EQ(idsOf(list), (std::vector<int>{2, 3, 1}));
    EXPECT_TRUE(list.moveLast());
    EXPECT_TRUE(list.movePrev());
    EXPECT_EQ(list.getCurrent()->id(), 3) << "back links of a re-added node are rebuilt";

    while (List::tagNode* taken = list.takeFirstNode()) {
        delete taken->pObject;
        List::freeNode(taken);
    }
    EXPECT_TRUE(list.isEmpty());
    EXPECT_EQ(list.getFirst(), nullptr);
    EXPECT_EQ(list.getLast(), nullptr);
    EXPECT_EQ(CCountedObject::s_iLive, 0);
}
