#pragma once

#include <document/CXMLParser.h>
#include <text/CString.h>

#include "system/TempFolder.h"

#include <cstdio>
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

using TempFolder = CTempFolder;

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
