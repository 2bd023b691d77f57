#include "auditDirectoryLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "fileTools.h"

const char AuditDirectoryLock::kFileName[] = ".qxesauditfileprocessor.lock";

namespace {

// O_NOFOLLOW and O_NONBLOCK: a link or a fifo put in its place is refused,
// neither followed nor waited on.
constexpr int kOpenFlags = O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;

std::string Failure(const std::string& operation) {
    return operation + ": " + (errno == ELOOP ? "symbolic link" : std::strerror(errno));
}

}  // namespace

std::string AuditDirectoryLock::PathIn(const std::string& directory) {
    return FileTools::AddTermToPath(directory, kFileName, FileTools::kPathDelim);
}

AuditDirectoryLock::Outcome AuditDirectoryLock::TryTake(const std::string& directory,
                                                        std::string& reason) {
    Release();
    const std::string path = PathIn(directory);
    FileDescriptor file = FileDescriptor::Open(path, O_RDWR | O_CREAT | kOpenFlags, 0600);
    if (!file.valid() && (errno == EACCES || errno == EROFS || errno == EPERM)) {
        // Another user's lock file, or a directory this run may only read:
        // a read-only descriptor locks as well.
        file = FileDescriptor::Open(path, O_RDONLY | kOpenFlags);
        if (!file.valid() && errno == ENOENT) {
            return Outcome::kReadOnly;
        }
    }
    if (!file.valid()) {
        reason = Failure("cannot open it");
        return Outcome::kUnusable;
    }
    struct stat byDescriptor;
    if (::fstat(file.get(), &byDescriptor) != 0 || !S_ISREG(byDescriptor.st_mode)) {
        reason = "it is not a regular file";
        return Outcome::kUnusable;
    }
    if (!FileTools::TryLockExclusive(file.get())) {
        if (errno == EWOULDBLOCK) {
            return Outcome::kBusy;
        }
        reason = Failure("cannot lock it");
        return Outcome::kUnusable;
    }
    m_file = std::move(file);
    return Outcome::kHeld;
}
