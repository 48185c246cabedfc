#include <system/CLibraryLoader.h>

#include <text/CString.h>

#include "support/ChildProcess.h"

#include <gtest/gtest.h>

#include <memory>

using namespace Trell;

namespace {

using Lines = std::vector<std::u16string>;

std::unique_ptr<CLibraryLoader> makeLoader(const char16_t* pszName, const std::string& strPath)
{
    std::unique_ptr<CLibraryLoader> pLoader(new CLibraryLoader());
    if (pszName)
        pLoader->setName(CString(pszName));
    pLoader->setPath(text(ascii(strPath)));
    return pLoader;
}

} // namespace

TEST(CLibraryLoader, LoadsOnceCachesTheEntryOnlyOnceFoundAndForgetsThePathOnUnload)
{
    CLogRecorder log;
    std::unique_ptr<CLibraryLoader> pLoader = makeLoader(u"Plugin", ECS_TEST_MODULE);
    EXPECT_TRUE(pLoader->load() && pLoader->load());
    void* pEntry = pLoader->getEntryInstance();
    ASSERT_NE(pEntry, nullptr);
    EXPECT_EQ(*static_cast<int*>(pEntry), 4242);
    EXPECT_EQ(pLoader->getEntryInstance(), pEntry);
    // Unloading forgets the path: the next load has none.
    pLoader->unLoad();
    EXPECT_FALSE(pLoader->load());
    EXPECT_EQ(pLoader->getEntryInstance(), nullptr);
    pLoader->unLoad();
    EXPECT_EQ(log.take(), (Lines{u"Info|Begin to load Plugin: " + ascii(ECS_TEST_MODULE) + u".",
                                 u"Info|Successfully load Plugin.", u"Info|Free Plugin.",
                                 u"Warning|No library to load Plugin.", u"Error|Need to load library first."}));
    // A failure, with an empty name printed as empty text.
    pLoader = makeLoader(nullptr, "/no/such.so");
    EXPECT_FALSE(pLoader->load() || pLoader->hasLoad());
    EXPECT_EQ(log.take(), (Lines{u"Info|Begin to load : /no/such.so.", u"Error|Can't load ."}));

    // A missing or null entry is asked for again on each call.
    pLoader = makeLoader(u"NoEntry", ECS_TEST_MODULE_NOENTRY);
    ASSERT_TRUE(pLoader->load());
    log.take();
    EXPECT_EQ(pLoader->getEntryInstance(), nullptr);
    EXPECT_EQ(pLoader->getEntryInstance(), nullptr);
    EXPECT_EQ(log.take(), (Lines(2, u"Error|Can't get entry point of NoEntry.")));

    pLoader.reset(); // the destructor unloads
    EXPECT_EQ(log.take(), (Lines{u"Info|Free NoEntry."}));
}
