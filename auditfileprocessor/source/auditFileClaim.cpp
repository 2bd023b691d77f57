#include "auditFileClaim.h"

#include <fcntl.h>
#include <strings.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>

#include "directoryLister.h"
#include "fileTools.h"

const char AuditFileClaim::kClaimSuffix[] = "_processing";

namespace {

// The name an audit file has before its claim suffix: it must be an audit file
// name ending in ".log" (any case), as the scan would pick it up.
bool IsInterruptedClaimName(const std::string& name, std::string& original) {
    const std::string suffix = AuditFileClaim::kClaimSuffix;
    const std::string extension = ".log";
    if (name.size() <= suffix.size() + extension.size() ||
        name.compare(name.size() - suffix.size(), suffix.size(), suffix) != 0) {
        return false;
    }
    original = name.substr(0, name.size() - suffix.size());
    return original.find("qxes_audit") != std::string::npos &&
           strcasecmp(original.c_str() + original.size() - extension.size(), extension.c_str()) ==
               0;
}

bool NameExists(const std::string& path) {
    struct stat info;
    return ::lstat(path.c_str(), &info) == 0 || errno != ENOENT;
}

}  // namespace

bool AuditFileClaim::LockAndCheck(const std::string& path) {
    Release();
    int descriptor;
    do {
        descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    } while (descriptor < 0 && errno == EINTR);
    FileDescriptor file(descriptor);
    if (!file.valid()) {
        return false;
    }
    int locked;
    do {
        locked = ::flock(file.get(), LOCK_EX | LOCK_NB);
    } while (locked != 0 && errno == EINTR);
    if (locked != 0) {
        return false;
    }
    // Between our open and our lock another run may have loaded the file and
    // renamed it away; the path then names another file or none.
    struct stat byPath;
    struct stat byDescriptor;
    if (::stat(path.c_str(), &byPath) != 0 || ::fstat(file.get(), &byDescriptor) != 0 ||
        byPath.st_dev != byDescriptor.st_dev || byPath.st_ino != byDescriptor.st_ino) {
        return false;
    }
    m_file = std::move(file);
    return true;
}

bool AuditFileClaim::Take(const std::string& path) {
    if (!LockAndCheck(path)) {
        return false;
    }
    // The rename-and-back test: a file the server or anyone else still holds
    // in a way that forbids renaming is left for a later run.
    const std::string claimed = path + kClaimSuffix;
    if (std::rename(path.c_str(), claimed.c_str()) != 0) {
        Release();
        return false;
    }
    if (std::rename(claimed.c_str(), path.c_str()) != 0) {
        // Left under the claim name; a later run puts it back.
        Release();
        return false;
    }
    return true;
}

void AuditFileClaim::RestoreInterruptedClaims(const std::string& directory) {
    DirectoryLister lister(directory, kClaimSuffix);
    DirectoryLister::Entry entry;
    std::string original;
    while (lister.Next(entry)) {
        if (entry.isDirectory || !IsInterruptedClaimName(entry.name, original)) {
            continue;
        }
        const std::string path =
            FileTools::AddTermToPath(directory, entry.name, FileTools::kPathDelim);
        const std::string originalPath =
            FileTools::AddTermToPath(directory, original, FileTools::kPathDelim);
        AuditFileClaim claim;
        // A locked file is inside another run's rename-and-back right now.
        if (!claim.LockAndCheck(path) || NameExists(originalPath)) {
            continue;
        }
        std::rename(path.c_str(), originalPath.c_str());
    }
}
