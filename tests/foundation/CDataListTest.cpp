#include <foundation/CDataList.h>
#include <foundation/CObjectList.h>

#include "foundation/ContainerTestTypes.h"

#include <gtest/gtest.h>

#include <list>
#include <vector>

using namespace Trell;
using namespace ContainerTest;

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
    matchSequence(list, reference, 7, [&](int value, unsigned int choice) {
        if (choice == 0) {
            list.addHead(CTracked(value));
            reference.push_front(value);
        } else if (choice == 1 && !reference.empty()) {
            ASSERT_EQ(list.takeFirst().value(), reference.front());
            reference.pop_front();
        } else if (choice == 2 && !reference.empty()) {
            ASSERT_EQ(list.takeLast().value(), reference.back());
            reference.pop_back();
        } else {
            list.add(CTracked(value));
            reference.push_back(value);
        }
    });
    std::vector<int> backwards;
    for (bool more = list.moveLast(); more; more = list.movePrev())
        backwards.push_back(list.getCurrent()->value());
    EXPECT_EQ(backwards, std::vector<int>(reference.rbegin(), reference.rend()));
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
        std::vector<int> takenIds;
        for (CCountedObject* object : {list.takeFirst(), list.takeLast(), list.takeAt(1)}) {
            takenIds.push_back(object->id());
            delete object;
        }
        EXPECT_EQ(std::make_tuple(takenIds, idsOf(list)),
                  std::make_tuple(std::vector<int>{1, 5, 4}, std::vector<int>{3}));
        list.setOwning(false);
        delete list.getFirst();
        list.addHead(&kept);
        EXPECT_TRUE(list.remove(&kept) && !list.remove(&kept)) << "a list that does not own leaves its objects";
        list.clear();
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
