#include <foundation/CDataList.h>
#include <foundation/CObjectList.h>

#include "foundation/ContainerTestTypes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <list>
#include <random>
#include <vector>

using namespace Trell;
using ContainerTest::CCountedObject;
using ContainerTest::CTracked;
using ContainerTest::CTrackedTest;

namespace {

std::vector<int> idsOf(const CObjectList<CCountedObject>& list)
{
    std::vector<int> ids;
    for (CCountedObject* object : list)
        ids.push_back(object->id());
    return ids;
}

} // namespace

// Indexed reads and removals walk from either end; a random mix checked
// against std::list exercises both halves, the links they leave and the
// lifetimes of the elements.
TEST_F(CTrackedTest, DataListMatchesStdListUnderRandomOperations)
{
    CDataList<CTracked> list;
    std::list<int> reference;
    std::mt19937 random(7);
    for (int step = 0; step < 3000; ++step) {
        const unsigned int count = list.getCount();
        const unsigned int index = random() % (count + 2); // sometimes out of range
        const int value = int(random() % 40);
        const auto found = std::find(reference.begin(), reference.end(), value);
        switch (random() % 8) {
        case 0:
        case 1:
            ASSERT_EQ(list.insertAt(index, CTracked(value)), index <= count);
            if (index <= count)
                reference.insert(std::next(reference.begin(), index), value);
            break;
        case 2:
            ASSERT_EQ(list.removeAt(index), index < count);
            if (index < count)
                reference.erase(std::next(reference.begin(), index));
            break;
        case 3:
            ASSERT_EQ(list.indexOf(CTracked(value)),
                      found == reference.end() ? -1 : int(std::distance(reference.begin(), found)));
            ASSERT_EQ(list.remove(CTracked(value)), found != reference.end());
            if (found != reference.end())
                reference.erase(found);
            break;
        case 4:
            list.addHead(CTracked(value));
            reference.push_front(value);
            break;
        case 5:
            if (count) {
                ASSERT_EQ(list.takeFirst().value(), reference.front());
                reference.pop_front();
                ASSERT_EQ(list.takeLast().value(), reference.back());
                reference.pop_back();
            }
            break;
        case 6:
            ASSERT_TRUE(!count || list[index % count].value() == *std::next(reference.begin(), index % count));
            break;
        default:
            list.add(CTracked(value));
            reference.push_back(value);
        }
        ASSERT_EQ(list.getCount(), reference.size());
        ASSERT_EQ(CTracked::s_iLive, int(reference.size()));
    }
    std::vector<int> forwards, backwards;
    for (const CTracked& v : list)
        forwards.push_back(v.value());
    for (bool more = list.moveLast(); more; more = list.movePrev())
        backwards.push_back(list.getCurrent()->value());
    EXPECT_EQ(forwards, std::vector<int>(reference.begin(), reference.end()));
    EXPECT_EQ(backwards, std::vector<int>(reference.rbegin(), reference.rend()));

    CDataList<CTracked> copy(list);
    copy[0] = CTracked(-5);
    EXPECT_EQ(list[0].value(), reference.front()) << "copies are deep";
    copy = list;
    CDataList<CTracked> moved(std::move(copy));
    EXPECT_TRUE(copy.isEmpty());
    EXPECT_EQ(CTracked::s_iLive, 2 * int(reference.size()));
}

TEST(CDataList, CursorStartsOnFirstElementAndSurvivesRemovals)
{
    CDataList<int> list;
    EXPECT_TRUE(list.getCurrent() == nullptr && !list.moveFirst());
    for (int v = 1; v <= 6; ++v)
        list.add(v);
    EXPECT_EQ(*list.getCurrent(), 1) << "the first node becomes the cursor, later appends leave it";
    for (bool more = list.moveFirst(); more;) // remove the even elements while walking
        more = *list.getCurrent() % 2 == 0 ? list.removeCurrent() : list.moveNext();
    EXPECT_TRUE(list.getCurrent() == nullptr && list.getCount() == 3u);
    list.moveFirst();
    list.moveNext();
    list.removeAt(1);
    EXPECT_EQ(*list.getCurrent(), 5) << "removing the cursor's node moves it on";
    list.clear();
    EXPECT_EQ(list.getCurrent(), nullptr);
}

TEST_F(CTrackedTest, OwningObjectListDestroysRemovedObjectsWhateverTheirCountAndTakingHandsThemOut)
{
    CCountedObject kept(100);
    {
        CObjectList<CCountedObject> list(true);
        for (int i = 0; i < 6; ++i)
            list.add(new CCountedObject(i));
        list[2]->addRef();
        EXPECT_TRUE(list.removeAt(2) && list.remove(list.getFirst()));
        EXPECT_EQ(CCountedObject::s_iLive, 5);
        std::vector<int> takenIds;
        for (CCountedObject* object : {list.takeFirst(), list.takeLast(), list.takeAt(1)}) {
            takenIds.push_back(object ? object->id() : -1);
            delete object;
        }
        EXPECT_EQ(takenIds, (std::vector<int>{1, 5, 4}));
        EXPECT_EQ(idsOf(list), (std::vector<int>{3}));
        CCountedObject* three = list.getFirst();
        list.setOwning(false);
        list.addHead(&kept);
        EXPECT_TRUE(list.remove(&kept) && !list.remove(&kept));
        list.clear();
        EXPECT_EQ(CCountedObject::s_iLive, 2) << "a list that does not own leaves its objects";
        delete three;
        EXPECT_TRUE(list.takeFirst() == nullptr && list.getAt(0) == nullptr);
        list.setOwning(true);
        list.add(new CCountedObject(9)); // the destructor deletes what is left
    }
    EXPECT_EQ(CCountedObject::s_iLive, 1);
}

// Nodes made and freed apart from the list (so that an owner can keep the
// allocator out of its lock) link and unlink exactly like add and takeFirst.
TEST_F(CTrackedTest, DetachedNodesLinkAndUnlinkLikeAddAndTakeFirst)
{
    typedef CObjectList<CCountedObject> List;
    List list(true);
    EXPECT_TRUE(list.takeFirstNode() == nullptr && !list.addNode(nullptr));
    ASSERT_TRUE(list.addNode(List::makeNode(new CCountedObject(1))));
    EXPECT_EQ(list.getCurrent()->id(), 1) << "the first element becomes the cursor";
    list.add(new CCountedObject(2));
    ASSERT_TRUE(list.addNode(List::makeNode(new CCountedObject(3))));
    // Taking the head node leaves its object alive even on an owning list,
    // and moves a cursor that stood on it.
    List::tagNode* node = list.takeFirstNode();
    EXPECT_EQ(std::make_tuple(node->pObject->id(), CCountedObject::s_iLive, list.getCurrent()->id(), list.getCount()),
              std::make_tuple(1, 3, 2, 2u));
    // The same node may join the list again, now at the tail.
    ASSERT_TRUE(list.addNode(node));
    EXPECT_EQ(idsOf(list), (std::vector<int>{2, 3, 1}));
    EXPECT_TRUE(list.moveLast() && list.movePrev());
    EXPECT_EQ(list.getCurrent()->id(), 3) << "back links of a re-added node are rebuilt";
    while (List::tagNode* taken = list.takeFirstNode()) {
        delete taken->pObject;
        List::freeNode(taken);
    }
    EXPECT_EQ(list.getLast(), nullptr);
}
