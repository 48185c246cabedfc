#pragma once

// A fresh temporary folder for one test, removed with everything in it at
// the end of the test.

#include <text/CString.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#ifdef _WIN32
#include <process.h>
#endif

class CTempFolder
{
public:
    CTempFolder()
    {
#ifdef _WIN32
        // No mkdtemp: a name of its own, made with "/" as the library writes paths.
        static unsigned int s_uiCounter = 0;
        const std::string strBase = std::filesystem::temp_directory_path().generic_string();
        for (int iTry = 0; iTry < 100 && m_strPath.empty(); ++iTry) {
            const std::string strPath = strBase + (strBase.back() == '/' ? "" : "/") + "ecs_test_" +
                                        std::to_string(_getpid()) + "_" + std::to_string(++s_uiCounter);
            std::error_code error;
            if (std::filesystem::create_directory(strPath, error))
                m_strPath = strPath;
        }
#else
        std::string pattern = (std::filesystem::temp_directory_path() / "ecs_test_XXXXXX").string();
        if (char* pszPath = mkdtemp(pattern.data()))
            m_strPath = pszPath;
#endif
    }
    ~CTempFolder()
    {
        if (!m_strPath.empty()) {
            std::error_code error;
            // Read-only leftovers must not stop the clean-up.
            for (auto it = std::filesystem::recursive_directory_iterator(m_strPath, error);
                 !error && it != std::filesystem::recursive_directory_iterator(); it.increment(error))
                std::filesystem::permissions(it->path(), std::filesystem::perms::owner_all,
                                             std::filesystem::perm_options::add, error);
            std::filesystem::remove_all(m_strPath, error);
        }
    }
    CTempFolder(const CTempFolder&) = delete;
    CTempFolder& operator=(const CTempFolder&) = delete;

    bool isValid() const { return !m_strPath.empty(); }
    // Native path of a name inside the folder ("" gives the folder itself).
    std::string native(const std::string& strName = "") const
    {
        return strName.empty() ? m_strPath : m_strPath + "/" + strName;
    }
    // The same as library text (UTF-8 names are decoded).
    Trell::CString path(const std::string& strName = "") const { return toCString(native(strName)); }

    static Trell::CString toCString(const std::string& strUtf8)
    {
        std::u16string text;
        for (std::size_t i = 0; i < strUtf8.size();) {
            unsigned char c = static_cast<unsigned char>(strUtf8[i]);
            if (c < 0x80) {
                text += static_cast<char16_t>(c);
                i += 1;
            } else if (c < 0xE0) {
                text += static_cast<char16_t>(((c & 0x1F) << 6) | (strUtf8[i + 1] & 0x3F));
                i += 2;
            } else {
                text += static_cast<char16_t>(((c & 0x0F) << 12) | ((strUtf8[i + 1] & 0x3F) << 6) |
                                              (strUtf8[i + 2] & 0x3F));
                i += 3;
            }
        }
        return Trell::CString(text.c_str());
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
    bool exists(const std::string& strName) const { return std::filesystem::exists(native(strName)); }

private:
    std::string m_strPath;
};

// Library text as a byte string, one byte per unit (for messages and
// comparisons of ASCII text).
inline std::string narrow(const Trell::CString& text)
{
    std::string out;
    for (unsigned int i = 0; i < text.length(); ++i)
        out += static_cast<char>(text.buffer()[i]);
    return out;
}
