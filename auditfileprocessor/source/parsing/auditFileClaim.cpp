#include "auditFileClaim.h"

#include <fcntl.h>
#include <strings.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

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

}  // namespace

bool AuditFileClaim::RenameWithoutReplacing(const std::string& from, const std::string& to) {
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) {
        return true;
    }
    if (errno != EINVAL && errno != ENOSYS) {
        return false;
    }
    // The file system cannot refuse a replacement itself: a hard link can.
    if (::link(from.c_str(), to.c_str()) == 0) {
        if (::unlink(from.c_str()) == 0) {
            return true;
        }
        const int error = errno;
        ::unlink(to.c_str());
        errno = error;
        return false;
    }
    if (errno != EPERM && errno != EOPNOTSUPP) {
        return false;
    }
    // Nor hard links: look first, the best such a file system allows.
    struct stat info;
    if (::lstat(to.c_str(), &info) == 0) {
        errno = EEXIST;
        return false;
    }
    return errno == ENOENT && std::rename(from.c_str(), to.c_str()) == 0;
}

AuditFileClaim::Outcome AuditFileClaim::LockAndCheck(const std::string& path, std::string& reason) {
    Release();
    // Looked at before opening, so that no device is ever opened: opening one
    // can have effects of its own.
    struct stat byPath;
    if (::lstat(path.c_str(), &byPath) != 0) {
        if (errno == ENOENT) {
            return Outcome::kTakenElsewhere;
        }
        reason = std::string("cannot examine it: ") + std::strerror(errno);
        return Outcome::kFailed;
    }
    if (!S_ISREG(byPath.st_mode)) {
        reason = DirectoryLister::KindOf(byPath.st_mode);
        return Outcome::kNotRegular;
    }
    // O_NOFOLLOW and O_NONBLOCK: a link or fifo put in the file's place since
    // the lstat is refused, not followed or waited on.
    FileDescriptor file =
        FileDescriptor::Open(path, O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    if (!file.valid()) {
        if (errno == ENOENT) {
            return Outcome::kTakenElsewhere;
        }
        if (errno == ELOOP) {
            reason = "symbolic link";
            return Outcome::kNotRegular;
        }
        reason = std::string("cannot open it: ") + std::strerror(errno);
        return Outcome::kFailed;
    }
    struct stat byDescriptor;
    if (::fstat(file.get(), &byDescriptor) != 0) {
        reason = std::string("cannot examine it: ") + std::strerror(errno);
        return Outcome::kFailed;
    }
    if (!S_ISREG(byDescriptor.st_mode)) {
        reason = DirectoryLister::KindOf(byDescriptor.st_mode);
        return Outcome::kNotRegular;
    }
    if (!FileTools::TryLockExclusive(file.get())) {
        if (errno == EWOULDBLOCK) {
            return Outcome::kTakenElsewhere;
        }
        reason = std::string("cannot lock it: ") + std::strerror(errno);
        return Outcome::kFailed;
    }
    // Between our open and our lock another run may have loaded the file and
    // renamed it away; the path then names another file or none.
    if (::lstat(path.c_str(), &byPath) != 0) {
        if (errno == ENOENT) {
            return Outcome::kTakenElsewhere;
        }
        reason = std::string("cannot examine it: ") + std::strerror(errno);
        return Outcome::kFailed;
    }
    if (byPath.st_dev != byDescriptor.st_dev || byPath.st_ino != byDescriptor.st_ino) {
        return Outcome::kTakenElsewhere;
    }
    m_file = std::move(file);
    return Outcome::kTaken;
}

AuditFileClaim::Outcome AuditFileClaim::Take(const std::string& path, std::string& reason) {
    const Outcome locked = LockAndCheck(path, reason);
    if (locked != Outcome::kTaken) {
        return locked;
    }
    // The rename-and-back test: a file the server or anyone else still holds
    // in a way that forbids renaming is left for a later run.
    // Never onto an existing name: a file left under the claim name by a run
    // killed inside its rename-and-back holds lines not loaded yet.
    const std::string claimed = path + kClaimSuffix;
    if (!RenameWithoutReplacing(path, claimed)) {
        if (errno == EEXIST) {
            Release();
            reason = claimed;
            return Outcome::kNameTaken;
        }
        return RenameFailed("cannot rename it to " + claimed, reason);
    }
    if (!RenameWithoutReplacing(claimed, path)) {
        // Left under the claim name; a later run puts it back.
        return RenameFailed("cannot rename " + claimed + " back", reason);
    }
    return Outcome::kTaken;
}

AuditFileClaim::Outcome AuditFileClaim::RenameFailed(const std::string& operation,
                                                     std::string& reason) {
    const int error = errno;
    Release();
    if (error == ENOENT) {
        return Outcome::kTakenElsewhere;
    }
    reason = operation + ": " + std::strerror(error);
    return Outcome::kFailed;
}

void AuditFileClaim::RestoreInterruptedClaims(const std::string& directory) {
    // Links and other entries that are not regular files are reported by the
    // lister rather than followed, and left alone.
    DirectoryLister lister(directory, kClaimSuffix, true);
    DirectoryLister::Entry entry;
    std::string original;
    std::string reason;
    while (lister.Next(entry)) {
        if (entry.isDirectory || !entry.otherKind.empty() ||
            !IsInterruptedClaimName(entry.name, original)) {
            continue;
        }
        const std::string path =
            FileTools::AddTermToPath(directory, entry.name, FileTools::kPathDelim);
        const std::string originalPath =
            FileTools::AddTermToPath(directory, original, FileTools::kPathDelim);
        AuditFileClaim claim;
        // A locked file is inside another run's rename-and-back right now. A
        // new file under the original name keeps both where they are: the
        // claim of the new one reports them.
        if (claim.LockAndCheck(path, reason) == Outcome::kTaken) {
            RenameWithoutReplacing(path, originalPath);
        }
    }
}
