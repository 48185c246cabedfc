#include <system/CLibraryLoader.h>

#include <text/CString.h>

#include "support/ChildProcess.h"

#include <gtest/gtest.h>

#include <memory>

using namespace Trell;

namespace {

std::unique_ptr<CLibraryLoader> makeLoader(const char16_t* pszName, const std::u16string& strPath)
{
    std::unique_ptr<CLibraryLoader> pLoader(new CLibraryLoader());
    if (pszName)
        pLoader->setName(CString(pszName));
    pLoader->setPath(text(strPath));
    return pLoader;
}

int entryValue(void* pEntry)
{
    return pEntry ? *static_cast<int*>(pEntry) : 0;
}

} // namespace

TEST(CLibraryLoader, LoadsOnceCachesTheEntryAndForgetsThePathOnUnload)
{
    CLogRecorder log;
    const std::u16string strModule = ascii(ECS_TEST_MODULE);
    std::unique_ptr<CLibraryLoader> pLoader = makeLoader(u"Plugin", strModule);
    EXPECT_TRUE(pLoader->load());
    EXPECT_TRUE(pLoader->load());
    void* pEntry = pLoader->getEntryInstance();
    EXPECT_EQ(entryValue(pEntry), 4242);
    EXPECT_EQ(pLoader->getEntryInstance(), pEntry);
    // Unloading forgets the path: the next load has none.
    pLoader->unLoad();
    EXPECT_FALSE(pLoader->load());
    EXPECT_EQ(pLoader->getEntryInstance(), nullptr);
    pLoader->unLoad();
    EXPECT_EQ(log.take(), (std::vector<std::u16string>{u"Info|Begin to load Plugin: " + strModule + u".",
                                                       u"Info|Successfully load Plugin.", u"Info|Free Plugin.",
                                                       u"Warning|No library to load Plugin.",
                                                       u"Error|Need to load library first."}));

    // Failures, with an empty name printed as empty text.
    const struct
    {
        const char16_t* name;
        std::u16string path;
        std::vector<std::u16string> log;
    } aCases[] = {
        {nullptr, u"", {u"Warning|No library to load ."}},
        {u"", u"/no/such.so", {u"Info|Begin to load : /no/such.so.", u"Error|Can't load ."}},
    };
    for (const auto& c : aCases) {
        pLoader = makeLoader(c.name, c.path);
        EXPECT_FALSE(pLoader->load());
        EXPECT_FALSE(pLoader->hasLoad());
        EXPECT_EQ(log.take(), c.log);
    }
}

TEST(CLibraryLoader, AMissingOrNullEntryIsAskedForAgainOnEachCall)
{
    CLogRecorder log;
    std::unique_ptr<CLibraryLoader> pNoEntry = makeLoader(u"NoEntry", ascii(ECS_TEST_MODULE_NOENTRY));
    ASSERT_TRUE(pNoEntry->load());
    log.take();
    EXPECT_EQ(pNoEntry->getEntryInstance(), nullptr);
    EXPECT_EQ(pNoEntry->getEntryInstance(), nullptr);
    EXPECT_EQ(log.take(), (std::vector<std::u16string>(2, u"Error|Can't get entry point of NoEntry.")));

    // That module's "getInstance" gives null on its first call only;
    // unloading really unloads, so a reload starts it over.
    std::unique_ptr<CLibraryLoader> pLoader = makeLoader(u"Late", u"");
    for (int iRound = 0; iRound < 2; ++iRound) {
        pLoader->setPath(text(ascii(ECS_TEST_MODULE_NULLFIRST)));
        ASSERT_TRUE(pLoader->load());
        EXPECT_EQ(pLoader->getEntryInstance(), nullptr);
        EXPECT_EQ(entryValue(pLoader->getEntryInstance()), 4343);
        pLoader->unLoad();
    }
    pLoader->setPath(text(ascii(ECS_TEST_MODULE_NULLFIRST)));
    pLoader->load();
    log.take();
    pLoader.reset(); // the destructor unloads
    EXPECT_EQ(log.take(), (std::vector<std::u16string>{u"Info|Free Late."}));
}
