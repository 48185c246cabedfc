#include <foundation/CObject.h>
#include <foundation/CObjectPtr.h>

#include <gtest/gtest.h>

#include <vector>

using namespace Trell;

namespace {

// Counts live instances so that tests can see exactly when an object dies.
class CCounted : public CObject
{
    TRELL_DECLARE_ALLOCATOR(u"CCounted")
public:
    explicit CCounted(int* live) : m_live(live) { ++*m_live; }
    CCounted(const CCounted& other) : CObject(other), m_live(other.m_live) { ++*m_live; }
    CCounted& operator=(const CCounted& other) = default;
    ~CCounted() override { --*m_live; }

private:
    int* m_live;
};

class CKeepingPool : public CObjectPoolRef
{
public:
    void returnObject(CObject* object) override { kept.push_back(object); }
    std::vector<CObject*> kept;
};

} // namespace

TEST(CObject, LastReleaseDeletesOrReturnsToPoolAndCopiesCarryBoth)
{
    int live = 0;
    auto* object = new CCounted(&live);
    object->release();
    EXPECT_TRUE(live == 1 && object->getRef() == 0) << "a release on a fresh object keeps it alive";
    object->addRef();
    object->addRef();
    object->release();
    EXPECT_EQ(live, 1);
    object->release();
    EXPECT_EQ(live, 0);

    // A pooled object is handed back, not deleted, also by the smart pointer's last release.
    CKeepingPool pool;
    auto* pooled = new CCounted(&live);
    pooled->setObjectPool(&pool);
    pooled->addRef();
    pooled->release();
    CObjectPtr<CCounted>{pooled};
    EXPECT_TRUE(pool.kept == (std::vector<CObject*>{pooled, pooled}) && live == 1);
    pooled->setObjectPool(nullptr);
    delete pooled;

    // Copies and assignment carry the count and the pool.
    CCounted original(&live);
    original.setObjectPool(&pool);
    for (int i = 0; i < 3; ++i)
        original.addRef();
    CCounted copy(original), assigned(&live);
    assigned = original;
    EXPECT_TRUE(copy.getRef() == 3 && copy.getObjectPool() == &pool && assigned.getRef() == 3);
}

TEST(CObjectPtr, HoldsExactlyOneReferenceThroughCopyResetAssignAndMove)
{
    int live = 0;
    CObjectPtr<CCounted> ptr(new CCounted(&live));
    {
        CObjectPtr<CCounted> second(ptr);
        CObjectPtr<CObject> base(second);
        EXPECT_TRUE(ptr->getRef() == 3 && second == ptr && base == ptr);
    }
    CCounted* raw = ptr.get();
    ptr.reset(raw); // resetting to the same object must not kill it
    EXPECT_TRUE(live == 1 && raw->getRef() == 1);

    ptr = new CCounted(&live);
    EXPECT_EQ(live, 1) << "the first object died when its only holder moved on";
    CObjectPtr<CCounted> moved(std::move(ptr)), other;
    EXPECT_TRUE(!ptr && moved->getRef() == 1);
    other = moved;
    EXPECT_EQ((*other).getRef(), 2);
    other = std::move(moved);
    EXPECT_EQ(other->getRef(), 1);
    other.reset();
    EXPECT_TRUE(other == nullptr && live == 0);
}
