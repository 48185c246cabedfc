#include <platform/ILibraryLoader.h>
#include <platform/PlatformImp.h>
#include <text/CString.h>

#include "Reaper.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>

using namespace Trell;

TEST(CImpLibraryLoader, LoadsAModuleAndCallsItsEntryPointOrGivesNull)
{
    std::unique_ptr<ILibraryLoader> loader(PlatformImp::createLibraryLoader());
    // Windows-style separators name the same module.
    std::string windows = ECS_TEST_MODULE;
    std::replace(windows.begin(), windows.end(), '/', '\\');
    for (const std::string& path : {std::string(ECS_TEST_MODULE), windows}) {
        SCOPED_TRACE(path);
        void* pHandle = loader->loadLibrary(toCString(path));
        ASSERT_NE(pHandle, nullptr);
        int* pEntry = static_cast<int*>(loader->getEntryInstance(pHandle));
        ASSERT_NE(pEntry, nullptr);
        EXPECT_EQ(*pEntry, 4242);
        loader->unloadLibrary(pHandle);
    }
    void* pHandle = loader->loadLibrary(toCString(ECS_TEST_MODULE_NOENTRY));
    ASSERT_NE(pHandle, nullptr);
    EXPECT_EQ(loader->getEntryInstance(pHandle), nullptr);
    loader->unloadLibrary(pHandle);
    // The last is a file that is no module at all: this test's source.
    for (const CString& strPath : {CString(), CString(u""), CString(u"/no/such/module.so"), toCString(__FILE__)})
        EXPECT_EQ(loader->loadLibrary(strPath), nullptr) << strPath.length();
    EXPECT_EQ(loader->getEntryInstance(nullptr), nullptr);
    loader->unloadLibrary(nullptr);
}
