#include "noFollowFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace {

// A file removed between the exclusive create and the open of the existing
// file is created on the next attempt.
constexpr int kAttempts = 3;

std::string ModeText(mode_t mode) {
    char text[8];
    std::snprintf(text, sizeof text, "%04o", static_cast<unsigned>(mode & 07777));
    return text;
}

// Why an existing file may not take the output; empty when it may.
std::string Refusal(const struct stat& status, NoFollowFile::Readers readers) {
    if (S_ISCHR(status.st_mode)) {
        return "";
    }
    if (!S_ISREG(status.st_mode)) {
        return "it is not a regular file";
    }
    if (status.st_uid != ::geteuid()) {
        return "it belongs to another user";
    }
    if (status.st_nlink > 1) {
        return "it has more than one name (hard links)";
    }
    const mode_t forbidden =
        S_IWGRP | S_IRWXO | (readers == NoFollowFile::kOwnerOnly ? S_IRGRP : 0);
    if ((status.st_mode & forbidden) != 0) {
        return "other users may read or write it (mode " + ModeText(status.st_mode) + ")";
    }
    return "";
}

// Why an open failed: a fifo or a socket where the file should be, or the
// system's reason (for a link, that of O_NOFOLLOW).
std::string OpenFailure(const std::string& path, int error, bool& isLink) {
    struct stat status;
    if (::lstat(path.c_str(), &status) != 0 || S_ISREG(status.st_mode) || S_ISCHR(status.st_mode) ||
        S_ISDIR(status.st_mode)) {
        return std::strerror(error);
    }
    isLink = S_ISLNK(status.st_mode);
    return isLink ? std::strerror(error) : "it is not a regular file";
}

}  // namespace

FileDescriptor NoFollowFile::OpenDescriptor(const std::string& path, Mode mode, Readers readers,
                                            std::string& reason, bool& isLink) {
    isLink = false;
    const int flags =
        O_WRONLY | O_NOFOLLOW | O_NOCTTY | O_CLOEXEC | (mode == kAppend ? O_APPEND : 0);
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        FileDescriptor file =
            FileDescriptor::Open(path, flags | O_CREAT | O_EXCL, S_IRUSR | S_IWUSR);
        if (file.valid()) {
            return file;
        }
        if (errno != EEXIST) {
            reason = OpenFailure(path, errno, isLink);
            return file;
        }
        // Non-blocking, so that a fifo without a reader fails at once.
        file = FileDescriptor::Open(path, flags | O_NONBLOCK);
        if (!file.valid() && errno == ENOENT) {
            continue;
        }
        struct stat status;
        if (!file.valid() || ::fstat(file.get(), &status) != 0) {
            reason = OpenFailure(path, errno, isLink);
            return FileDescriptor();
        }
        reason = Refusal(status, readers);
        if (!reason.empty()) {
            return FileDescriptor();
        }
        if (::fcntl(file.get(), F_SETFL, ::fcntl(file.get(), F_GETFL) & ~O_NONBLOCK) != 0 ||
            (mode == kTruncate && S_ISREG(status.st_mode) && ::ftruncate(file.get(), 0) != 0)) {
            reason = std::strerror(errno);
            return FileDescriptor();
        }
        return file;
    }
    reason = std::strerror(ENOENT);
    return FileDescriptor();
}

FILE* NoFollowFile::Open(const std::string& path, Mode mode, Readers readers, std::string& reason,
                         bool& isLink) {
    FileDescriptor file = OpenDescriptor(path, mode, readers, reason, isLink);
    if (!file.valid()) {
        return nullptr;
    }
    FILE* stream = ::fdopen(file.get(), mode == kAppend ? "a" : "w");
    if (stream == nullptr) {
        reason = std::strerror(errno);
        return nullptr;
    }
    file.release();
    return stream;
}
