// A child process for the process tests. It acts on its first argument:
//   hold <file>    waits until the file exists or its folder is gone (60 s at
//                  most), writes nothing
//   fds            prints the numbers of the descriptors it inherited, one
//                  per line
//   spew <bytes>   writes that many 'x' to standard output
//   print <text>   writes the text to standard output
//   stdin          prints "eof" when standard input ends at once
// and anything else does nothing. When ECS_CHILD_RECORD names a file, it
// finally writes its pid and its arguments there, one per line.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>

#include <fcntl.h>
#include <unistd.h>

int main(int argc, char** argv)
{
    const std::string strMode = argc > 1 ? argv[1] : "";
    const char* pszValue = argc > 2 ? argv[2] : "";
    if (strMode == "hold") {
        // The test's folder going away releases the child too.
        const std::filesystem::path file(pszValue);
        for (int i = 0; i < 12000 && !std::filesystem::exists(file) && std::filesystem::exists(file.parent_path()); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
    } else if (strMode == "fds") {
#ifndef _WIN32 // descriptors are a POSIX notion; a Windows child lists none
        // After the exec, whatever is not close-on-exec (as the listing's own
        // descriptor is) was inherited.
        for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
            if (!(fcntl(std::atoi(entry.path().filename().c_str()), F_GETFD) & FD_CLOEXEC))
                std::printf("%s\n", entry.path().filename().c_str());
        }
#endif
    } else if (strMode == "spew") {
        std::fputs(std::string(std::strtoul(pszValue, nullptr, 10), 'x').c_str(), stdout);
    } else if (strMode == "print") {
        std::fputs(pszValue, stdout);
    } else if (strMode == "stdin") {
        char ch;
        std::fputs(read(0, &ch, 1) == 0 ? "eof" : "data", stdout);
    }
    std::fflush(stdout);
    if (const char* pszRecord = std::getenv("ECS_CHILD_RECORD")) {
        const std::string strTemp = std::string(pszRecord) + ".tmp";
        if (std::FILE* pFile = std::fopen(strTemp.c_str(), "w")) {
            std::fprintf(pFile, "%d\n", static_cast<int>(getpid()));
            for (int i = 1; i < argc; ++i)
                std::fprintf(pFile, "%s\n", argv[i]);
            std::fclose(pFile);
            std::rename(strTemp.c_str(), pszRecord);
        }
    }
}
