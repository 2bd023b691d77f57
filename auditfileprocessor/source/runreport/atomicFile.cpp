#include "atomicFile.h"

#include "fileTools.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "fileDescriptor.h"

namespace {

std::string DirectoryOf(const std::string& path) {
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
}

bool WriteAll(int descriptor, const std::string& content) {
    size_t written = 0;
    while (written < content.size()) {
        const ssize_t count =
            ::write(descriptor, content.data() + written, content.size() - written);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            return false;
        }
        written += static_cast<size_t>(count);
    }
    return true;
}

// The mode a plain new file would get, since the temporary file starts private.
mode_t NewFileMode() {
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return 0666 & ~mask;
}

}  // namespace

bool AtomicFile::Write(const std::string& path, const std::string& content, std::string& reason) {
    const std::string directory = DirectoryOf(path);
    const std::string name = path.substr(path.rfind('/') + 1);
    // A leading dot and a suffix keep collectors that read "*.prom" or "*.json" away from it.
    std::string temporary = directory + "/." + name + ".XXXXXX";
    FileDescriptor file(::mkostemp(temporary.data(), O_CLOEXEC));
    if (!file.valid()) {
        reason = std::strerror(errno);
        return false;
    }
    const bool done = WriteAll(file.get(), content) && ::fchmod(file.get(), NewFileMode()) == 0 &&
                      ::fsync(file.get()) == 0 && ::close(file.release()) == 0 &&
                      std::rename(temporary.c_str(), path.c_str()) == 0;
    if (!done) {
        reason = std::strerror(errno);
        std::remove(temporary.c_str());
        return false;
    }
    // The rename itself survives a crash only once the directory is on disk.
    FileTools::SyncDirectory(directory);
    return true;
}
