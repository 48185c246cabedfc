#include <system/CLibraryLoader.h>

#include <text/CString.h>

#include "support/ChildProcess.h"

#include <gtest/gtest.h>

#include <memory>

using namespace Trell;

namespace {

const std::u16string MODULE = wide(std::string(ECS_TEST_MODULE));

std::unique_ptr<CLibraryLoader> makeLoader(const std::u16string& strName, const std::u16string& strPath)
{
    std::unique_ptr<CLibraryLoader> pLoader(new CLibraryLoader());
    if (!strName.empty())
        pLoader->setName(text(strName));
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
    std::unique_ptr<CLibraryLoader> pLoader = makeLoader(u"Plugin", MODULE);
    EXPECT_FALSE(pLoader->hasLoad());
    EXPECT_TRUE(pLoader->load());
    EXPECT_TRUE(pLoader->load());
    EXPECT_TRUE(pLoader->hasLoad());
    void* pEntry = pLoader->getEntryInstance();
    EXPECT_EQ(entryValue(pEntry), 4242);
    EXPECT_EQ(pLoader->getEntryInstance(), pEntry);
    pLoader->unLoad();
    EXPECT_FALSE(pLoader->hasLoad());
    EXPECT_EQ(wide(pLoader->getPath()), u"");
    EXPECT_EQ(wide(pLoader->getName()), u"Plugin");
    EXPECT_FALSE(pLoader->load());
    EXPECT_EQ(pLoader->getEntryInstance(), nullptr);
    pLoader->unLoad();
    EXPECT_EQ(log.take(), (std::vector<std::u16string>{
                              u"Info|Begin to load Plugin: " + MODULE + u".", u"Info|Successfully load Plugin.",
                              u"Info|Free Plugin.", u"Warning|No library to load Plugin.",
                              u"Error|Need to load library first."}));
}

TEST(CLibraryLoader, FailuresAreLoggedWithTheNamePrintedEvenWhenEmpty)
{
    const std::u16string strNotALibrary = wide(std::string(__FILE__));
    const struct
    {
        std::u16string name;
        std::u16string path;
        std::vector<std::u16string> log;
    } aCases[] = {
        {u"", u"", {u"Warning|No library to load ."}},
        {u"Src", strNotALibrary, {u"Info|Begin to load Src: " + strNotALibrary + u".", u"Error|Can't load Src."}},
        {u"", u"/no/such/module.so", {u"Info|Begin to load : /no/such/module.so.", u"Error|Can't load ."}},
    };
    for (const auto& c : aCases) {
        CLogRecorder log;
        std::unique_ptr<CLibraryLoader> pLoader = makeLoader(c.name, c.path);
        EXPECT_FALSE(pLoader->load());
        EXPECT_FALSE(pLoader->hasLoad());
        EXPECT_EQ(log.take(), c.log);
    }
}

TEST(CLibraryLoader, AMissingOrNullEntryIsAskedForAgainOnEachCall)
{
    CLogRecorder log;
    std::unique_ptr<CLibraryLoader> pNoEntry = makeLoader(u"NoEntry", wide(std::string(ECS_TEST_MODULE_NOENTRY)));
    ASSERT_TRUE(pNoEntry->load());
    log.take();
    EXPECT_EQ(pNoEntry->getEntryInstance(), nullptr);
    EXPECT_EQ(pNoEntry->getEntryInstance(), nullptr);
    EXPECT_EQ(log.take(), (std::vector<std::u16string>(2, u"Error|Can't get entry point of NoEntry.")));

    // The module's "getInstance" gives null on its first call only; unloading
    // really unloads, so a reload starts it over.
    const std::u16string strNullFirst = wide(std::string(ECS_TEST_MODULE_NULLFIRST));
    std::unique_ptr<CLibraryLoader> pLoader = makeLoader(u"Late", strNullFirst);
    for (int iRound = 0; iRound < 2; ++iRound) {
        ASSERT_TRUE(pLoader->load());
        EXPECT_EQ(pLoader->getEntryInstance(), nullptr);
        EXPECT_EQ(entryValue(pLoader->getEntryInstance()), 4343);
        pLoader->unLoad();
        pLoader->setPath(text(strNullFirst));
    }
    pLoader->load();
    log.take();
    pLoader.reset(); // the destructor unloads
    EXPECT_EQ(log.take(), (std::vector<std::u16string>{u"Info|Free Late."}));
}
