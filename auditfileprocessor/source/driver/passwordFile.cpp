#include "passwordFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "fileDescriptor.h"
#include "messenger.h"

namespace {

// A credential that systemd hands to the service: private to the service by
// construction, though an access list may show in its group bits.
bool IsServiceCredential(const std::string& path) {
    const char* directory = std::getenv("CREDENTIALS_DIRECTORY");
    if (directory == nullptr || *directory == '\0') {
        return false;
    }
    const std::string prefix = std::string(directory) + "/";
    return path.compare(0, prefix.size(), prefix) == 0 && path.find("/../") == std::string::npos;
}

bool Refuse(const std::string& path, const std::string& reason) {
    Messenger::Get().DisplayMessage(59, path, reason);
    return false;
}

}  // namespace

bool PasswordFile::Read(const std::string& path, std::string& password) {
    // Non-blocking, so that a FIFO named by mistake cannot hang the run.
    FileDescriptor file = FileDescriptor::Open(path, O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    if (!file.valid()) {
        return Refuse(path, std::strerror(errno));
    }
    struct stat status;
    if (::fstat(file.get(), &status) != 0) {
        return Refuse(path, std::strerror(errno));
    }
    if (S_ISDIR(status.st_mode)) {
        return Refuse(path, std::strerror(EISDIR));
    }
    if (!S_ISREG(status.st_mode)) {
        return Refuse(path, "not a regular file");
    }
    if ((status.st_mode & (S_IRGRP | S_IROTH)) != 0 && !IsServiceCredential(path)) {
        Messenger::Get().DisplayMessage(60, path);
        return false;
    }
    char buffer[kMaxSize];
    size_t filled = 0;
    while (filled < sizeof(buffer)) {
        const ssize_t count = ::read(file.get(), buffer + filled, sizeof(buffer) - filled);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            return Refuse(path, std::strerror(errno));
        }
        if (count == 0) {
            break;
        }
        filled += static_cast<size_t>(count);
    }
    std::string line(buffer, filled);
    line = line.substr(0, line.find_first_of(std::string("\n\0", 2)));
    if (!line.empty() && line.back() == '\r') {
        line.pop_back();
    }
    if (line.empty()) {
        return Refuse(path, "its first line is empty");
    }
    password = line;
    return true;
}
