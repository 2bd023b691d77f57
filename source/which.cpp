#include "which.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>

namespace {

constexpr size_t kPathBufferSize = 4096;

bool IsExecutableFile(const std::string& path) {
    struct stat status;
    return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
           ::access(path.c_str(), X_OK) == 0;
}

const char* KeepInBuffer(const std::string& path) {
    static char buffer[kPathBufferSize];
    if (path.size() >= sizeof(buffer)) {
        return nullptr;
    }
    std::memcpy(buffer, path.c_str(), path.size() + 1);
    return buffer;
}

}  // namespace

const char* which(const char* name) {
    if (name == nullptr || name[0] == '\0') {
        return nullptr;
    }
    const std::string program(name);
    if (program.find('/') != std::string::npos && IsExecutableFile(program)) {
        return KeepInBuffer(program);
    }
    if (program[0] == '/') {
        return nullptr;
    }
    const char* searchPath = std::getenv("PATH");
    if (searchPath == nullptr) {
        return nullptr;
    }
    const std::string directories(searchPath);
    size_t start = 0;
    while (start <= directories.size()) {
        size_t end = directories.find(':', start);
        if (end == std::string::npos) {
            end = directories.size();
        }
        const std::string directory = directories.substr(start, end - start);
        if (!directory.empty()) {
            std::string candidate = directory;
            candidate += '/';
            candidate += program;
            if (IsExecutableFile(candidate)) {
                return KeepInBuffer(candidate);
            }
        }
        start = end + 1;
    }
    return nullptr;
}
