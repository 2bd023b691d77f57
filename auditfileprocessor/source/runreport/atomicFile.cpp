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

// What the file replaces must be the running user's own regular file, if
// anything: the run's reports never take another user's name.
bool TargetReplaceable(const std::string& path, std::string& reason) {
    struct stat status;
    if (::lstat(path.c_str(), &status) != 0) {
        if (errno == ENOENT) {
            return true;
        }
        reason = std::strerror(errno);
        return false;
    }
    if (!S_ISREG(status.st_mode)) {
        reason = "it is not a regular file";
    } else if (status.st_uid != ::geteuid()) {
        reason = "it belongs to another user";
    }
    return reason.empty();
}

// A private temporary file beside `path`; a leading dot and a suffix keep
// collectors that read "*.prom" or "*.json" away from it.
FileDescriptor CreateTemporary(const std::string& path, std::string& temporary) {
    temporary = DirectoryOf(path) + "/." + path.substr(path.rfind('/') + 1) + ".XXXXXX";
    return FileDescriptor(::mkostemp(temporary.data(), O_CLOEXEC));
}

// The mode a plain new file would get, since the temporary file starts private.
mode_t NewFileMode() {
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return 0666 & ~mask;
}

}  // namespace

bool AtomicFile::CanReplace(const std::string& path, std::string& reason) {
    if (!TargetReplaceable(path, reason)) {
        return false;
    }
    std::string temporary;
    FileDescriptor file = CreateTemporary(path, temporary);
    if (!file.valid() || ::unlink(temporary.c_str()) != 0) {
        reason = std::strerror(errno);
        return false;
    }
    return true;
}

bool AtomicFile::Write(const std::string& path, const std::string& content, std::string& reason) {
    if (!TargetReplaceable(path, reason)) {
        return false;
    }
    const std::string directory = DirectoryOf(path);
    std::string temporary;
    FileDescriptor file = CreateTemporary(path, temporary);
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
    if (!FileTools::SyncDirectory(directory)) {
        reason = std::string("its directory could not be flushed to disk: ") + std::strerror(errno);
        return false;
    }
    return true;
}
