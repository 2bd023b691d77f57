#include "fileTools.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "fileDescriptor.h"

std::string FileTools::AddTermToPath(const std::string& path, const std::string& name, char delim) {
    if (path.empty()) {
        return name;
    }
    if (path.back() == delim) {
        return path + name;
    }
    return path + delim + name;
}

std::string FileTools::MakePortablePath(const std::string& path) {
    std::string portable = path;
    std::replace(portable.begin(), portable.end(), '\\', '/');
    return portable;
}

bool FileTools::FileExists(const std::string& path) {
    struct stat status;
    return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

bool FileTools::DirectoryExists(const std::string& path) {
    struct stat status;
    return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

FILE* FileTools::_fopen(const std::string& path, const char* mode, mode_t permissions) {
    if (mode == nullptr || mode[0] == '\0') {
        return nullptr;
    }
    const bool update = std::strchr(mode, '+') != nullptr;
    int flags = O_CLOEXEC;
    switch (mode[0]) {
        case 'r':
            flags |= update ? O_RDWR : O_RDONLY;
            break;
        case 'w':
            flags |= (update ? O_RDWR : O_WRONLY) | O_CREAT | O_TRUNC;
            break;
        case 'a':
            flags |= (update ? O_RDWR : O_WRONLY) | O_CREAT | O_APPEND;
            break;
        default:
            return nullptr;
    }
    const int descriptor = FileDescriptor::Open(path, flags, permissions).release();
    if (descriptor < 0) {
        return nullptr;
    }
    FILE* stream = ::fdopen(descriptor, mode);
    if (stream == nullptr) {
        // Not retried on EINTR: after close the descriptor is gone either way.
        ::close(descriptor);
    }
    return stream;
}

bool FileTools::SyncDirectory(const std::string& path) {
    FileDescriptor directory = FileDescriptor::Open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (!directory.valid()) {
        return false;
    }
    int synced;
    do {
        synced = ::fsync(directory.get());
    } while (synced != 0 && errno == EINTR);
    return synced == 0;
}

bool FileTools::TryLockExclusive(int descriptor) {
    int locked;
    do {
        locked = ::flock(descriptor, LOCK_EX | LOCK_NB);
    } while (locked != 0 && errno == EINTR);
    return locked == 0;
}
