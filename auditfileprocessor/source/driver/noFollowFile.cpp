#include "noFollowFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "fileDescriptor.h"

FILE* NoFollowFile::Open(const std::string& path, int flags, mode_t permissions,
                         const char* streamMode, bool& isLink) {
    isLink = false;
    const int descriptor =
        FileDescriptor::Open(path, O_WRONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC | flags, permissions)
            .release();
    if (descriptor < 0) {
        // ELOOP also means too many links inside the path; only a final link
        // is what the caller reports as a link.
        const int openError = errno;
        struct stat status;
        isLink =
            openError == ELOOP && ::lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
        errno = openError;
        return nullptr;
    }
    FILE* stream = ::fdopen(descriptor, streamMode);
    if (stream == nullptr) {
        const int openError = errno;
        // Not retried on EINTR: after close the descriptor is gone either way.
        ::close(descriptor);
        errno = openError;
    }
    return stream;
}
