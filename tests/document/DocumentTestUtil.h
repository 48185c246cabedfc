#pragma once

#include <document/CXMLParser.h>
#include <text/CString.h>

#include <cstdio>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

namespace DocumentTest {

inline std::u16string str(const Trell::CString& s)
{
    return s.buffer() ? std::u16string(s.buffer(), s.length()) : std::u16string();
}

inline Trell::CString cs(const std::u16string& s)
{
    return Trell::CString(s.c_str(), unsigned(s.size()));
}

struct tagErrorPos
{
    unsigned int line;
    unsigned int column;
    std::u16string text;
};

inline tagErrorPos errorOf(const Trell::CXMLParser& parser)
{
    tagErrorPos pos{};
    Trell::CString text;
    parser.getErrorPos(pos.line, pos.column, text);
    pos.text = str(text);
    return pos;
}

// A folder of its own under the system's temporary folder, removed at the end.
class TempFolder
{
public:
    TempFolder()
    {
        std::random_device rd;
        m_path = std::filesystem::temp_directory_path() /
                 ("ecs_document_" + std::to_string(rd()) + "_" + std::to_string(rd()));
        std::filesystem::create_directories(m_path);
    }
    ~TempFolder()
    {
        std::error_code ec;
        std::filesystem::remove_all(m_path, ec);
    }
    std::string file(const std::string& name) const { return (m_path / name).string(); }
    Trell::CString path(const std::string& name) const
    {
        std::string p = file(name);
        return cs(std::u16string(p.begin(), p.end()));
    }

private:
    std::filesystem::path m_path;
};

inline void writeBytes(const std::string& path, const std::vector<unsigned char>& bytes)
{
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f)
        return;
    if (!bytes.empty())
        std::fwrite(bytes.data(), 1, bytes.size(), f);
    std::fclose(f);
}

inline std::vector<unsigned char> readBytes(const std::string& path)
{
    std::vector<unsigned char> bytes;
    FILE* f = std::fopen(path.c_str(), "rb");
    if (!f)
        return bytes;
    unsigned char buffer[4096];
    size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, f)) > 0)
        bytes.insert(bytes.end(), buffer, buffer + n);
    std::fclose(f);
    return bytes;
}

inline std::vector<unsigned char> bytesOf(const std::string& text)
{
    return std::vector<unsigned char>(text.begin(), text.end());
}

} // namespace DocumentTest
