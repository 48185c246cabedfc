#pragma once

// A fresh temporary folder for one test, removed with everything in it at
// the end of the test.

#include <text/CString.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

class CTempFolder
{
public:
    // mkdir either makes a fresh folder or fails: a name taken by another
    // process is passed over. The path uses "/" as the library writes paths.
    CTempFolder()
    {
        const std::string strBase = std::filesystem::temp_directory_path().generic_string();
        std::random_device random;
        for (int iTry = 0; iTry < 100 && m_strPath.empty(); ++iTry) {
            const std::string strPath =
                strBase + (strBase.back() == '/' ? "" : "/") + "ecs_test_" + std::to_string(random());
            std::error_code error;
            if (std::filesystem::create_directory(strPath, error))
                m_strPath = strPath;
        }
    }
    ~CTempFolder()
    {
        if (m_strPath.empty())
            return;
        std::error_code error;
        // Read-only leftovers must not stop the clean-up.
        for (auto it = std::filesystem::recursive_directory_iterator(m_strPath, error);
             !error && it != std::filesystem::recursive_directory_iterator(); it.increment(error))
            std::filesystem::permissions(it->path(), std::filesystem::perms::owner_all,
                                         std::filesystem::perm_options::add, error);
        std::filesystem::remove_all(m_strPath, error);
    }
    CTempFolder(const CTempFolder&) = delete;
    CTempFolder& operator=(const CTempFolder&) = delete;

    // Native path of a name inside the folder ("" gives the folder itself).
    std::string native(const std::string& strName = "") const
    {
        return strName.empty() ? m_strPath : m_strPath + "/" + strName;
    }
    // The same as library text (UTF-8 names are decoded).
    Trell::CString path(const std::string& strName = "") const { return toCString(native(strName)); }
    static Trell::CString toCString(const std::string& strUtf8)
    {
        return Trell::CString(std::filesystem::u8path(strUtf8).u16string().c_str());
    }

    void writeFile(const std::string& strName, const std::string& strContent) const
    {
        std::filesystem::path file = native(strName);
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary) << strContent;
    }
    std::string readFile(const std::string& strName) const
    {
        std::ifstream in(native(strName), std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
    // Names are UTF-8 (u8path: Windows would read them in its ANSI code page).
    bool exists(const std::string& strName) const
    {
        return std::filesystem::exists(std::filesystem::u8path(native(strName)));
    }

private:
    std::string m_strPath;
};

// Library text as a byte string, one byte per unit (for messages and
// comparisons of ASCII text).
inline std::string narrow(const Trell::CString& text)
{
    return std::string(text.buffer(), text.buffer() + text.length());
}
