#include <platform/ILibraryLoader.h>
#include <platform/PlatformImp.h>
#include <text/CString.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>

using namespace Trell;

namespace {

CString toCString(const std::string& text)
{
    std::u16string wide(text.begin(), text.end());
    return CString(wide.c_str());
}

std::unique_ptr<ILibraryLoader> makeLoader()
{
    return std::unique_ptr<ILibraryLoader>(PlatformImp::createLibraryLoader());
}

} // namespace

TEST(CImpLibraryLoader, LoadsAModuleAndCallsItsEntryPoint)
{
    auto loader = makeLoader();
    ASSERT_TRUE(loader);
    void* pHandle = loader->loadLibrary(toCString(ECS_TEST_MODULE));
    ASSERT_NE(pHandle, nullptr);
    int* pEntry = static_cast<int*>(loader->getEntryInstance(pHandle));
    ASSERT_NE(pEntry, nullptr);
    EXPECT_EQ(*pEntry, 4242);
    EXPECT_EQ(loader->getEntryInstance(pHandle), pEntry);
    loader->unloadLibrary(pHandle);
}

TEST(CImpLibraryLoader, ModuleWithoutEntryPointGivesNull)
{
    auto loader = makeLoader();
    void* pHandle = loader->loadLibrary(toCString(ECS_TEST_MODULE_NOENTRY));
    ASSERT_NE(pHandle, nullptr);
    EXPECT_EQ(loader->getEntryInstance(pHandle), nullptr);
    loader->unloadLibrary(pHandle);
}

TEST(CImpLibraryLoader, BadInputGivesNullWithoutCrashing)
{
    auto loader = makeLoader();
    EXPECT_EQ(loader->loadLibrary(CString()), nullptr);
    EXPECT_EQ(loader->loadLibrary(CString(u"")), nullptr);
    EXPECT_EQ(loader->loadLibrary(CString(u"/no/such/module.so")), nullptr);
    // A file that is no module at all: this test's source.
    EXPECT_EQ(loader->loadLibrary(toCString(__FILE__)), nullptr);
    EXPECT_EQ(loader->getEntryInstance(nullptr), nullptr);
    loader->unloadLibrary(nullptr);
}

TEST(CImpLibraryLoader, WindowsStyleSeparatorsNameTheSameModule)
{
    auto loader = makeLoader();
    std::string path = ECS_TEST_MODULE;
    for (char& ch : path) {
        if (ch == '/')
            ch = '\\';
    }
    void* pHandle = loader->loadLibrary(toCString(path));
    ASSERT_NE(pHandle, nullptr);
    EXPECT_NE(loader->getEntryInstance(pHandle), nullptr);
    loader->unloadLibrary(pHandle);
}
