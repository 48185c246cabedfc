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

std::vector<int> valuesOf(const CDataList<CTracked>& list)
{
    std::vector<int> values;
    for (const CTracked& v : list)
        values.push_back(v.value());
    return values;
}

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
        case 3: {
            auto found = std::find(reference.begin(), reference.end(), value);
            ASSERT_EQ(list.indexOf(CTracked(value)),
                      found == reference.end() ? -1 : int(std::distance(reference.begin(), found)));
            ASSERT_EQ(list.remove(CTracked(value)), found != reference.end());
            if (found != reference.end())
                reference.erase(found);
            break;
        }
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
            if (count) {
                ASSERT_EQ(list[index % count].value(), *std::next(reference.begin(), index % count));
            }
            break;
        default:
            list.add(CTracked(value));
            reference.push_back(value);
            break;
        }
        ASSERT_EQ(list.getCount(), reference.size());
        ASSERT_EQ(CTracked::s_iLive, int(reference.size()));
    }
    EXPECT_EQ(valuesOf(list), std::vector<int>(reference.begin(), reference.end()));
    std::vector<int> backwards;
    for (bool more = list.moveLast(); more; more = list.movePrev())
        backwards.push_back(list.getCurrent()->value());
    EXPECT_EQ(backwards, std::vector<int>(reference.rbegin(), reference.rend()));
    EXPECT_EQ(list.getFirst().value(), reference.front());

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
    EXPECT_EQ(list.getCurrent(), nullptr);
    EXPECT_FALSE(list.moveFirst());
    list.add(1);
    ASSERT_NE(list.getCurrent(), nullptr) << "the first node becomes the cursor";
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
    EXPECT_EQ(list.getCount(), 3u);

    list.moveFirst();
    list.moveNext();
    list.removeAt(1);
    ASSERT_NE(list.getCurrent(), nullptr);
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
        EXPECT_TRUE(list.removeAt(2));
        EXPECT_TRUE(list.remove(list.getFirst()));
        EXPECT_EQ(CCountedObject::s_iLive, 5);
        std::vector<CCountedObject*> taken{list.takeFirst(), list.takeLast(), list.takeAt(1)};
        EXPECT_EQ(CCountedObject::s_iLive, 5) << "taking hands the objects out alive";
        std::vector<int> takenIds;
        for (CCountedObject* object : taken) {
            takenIds.push_back(object ? object->id() : -1);
            delete object;
        }
        EXPECT_EQ(takenIds, (std::vector<int>{1, 5, 4}));
        EXPECT_EQ(idsOf(list), (std::vector<int>{3}));
        CCountedObject* three = list.getFirst();
        list.setOwning(false);
        list.addHead(&kept);
        EXPECT_TRUE(list.remove(&kept));
        EXPECT_FALSE(list.remove(&kept));
        list.clear();
        EXPECT_EQ(CCountedObject::s_iLive, 2) << "a list that does not own leaves its objects";
        delete three;
        EXPECT_EQ(list.takeFirst(), nullptr);
        EXPECT_EQ(list.getAt(0), nullptr);
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
    EXPECT_EQ(list.takeFirstNode(), nullptr);
    EXPECT_FALSE(list.addNode(nullptr));
    ASSERT_TRUE(list.addNode(List::makeNode(new CCountedObject(1))));
    EXPECT_EQ(list.getCurrent()->id(), 1) << "the first element becomes the cursor";
    list.add(new CCountedObject(2));
    ASSERT_TRUE(list.addNode(List::makeNode(new CCountedObject(3))));
    EXPECT_EQ(list.getLast()->id(), 3);

    // Taking the head node leaves its object alive even on an owning list,
    // and moves a cursor that stood on it.
    List::tagNode* node = list.takeFirstNode();
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->pObject->id(), 1);
    EXPECT_EQ(CCountedObject::s_iLive, 3);
    EXPECT_EQ(list.getCurrent()->id(), 2);
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
    EXPECT_EQ(list.getLast(), nullptr);
}
