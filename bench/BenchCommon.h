#pragma once

// Helpers that several benchmark programs share.

#include <cstdlib>
#include <cstring>

// Takes --name=N off the command line (the benchmark library rejects flags
// it does not know).
inline bool takeFlag(int& argc, char** argv, const char* pszName, unsigned int& uiValue)
{
    const size_t length = std::strlen(pszName);
    for (int i = 1; i < argc; ++i) {
        if (std::strncmp(argv[i], pszName, length) == 0 && argv[i][length] == '=') {
            const long value = std::strtol(argv[i] + length + 1, nullptr, 10);
            if (value > 0)
                uiValue = static_cast<unsigned int>(value);
            for (int j = i; j + 1 < argc; ++j)
                argv[j] = argv[j + 1];
            --argc;
            return true;
        }
    }
    return false;
}
