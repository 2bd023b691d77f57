// The lock that lets one loader at a time load an audit directory: an
// exclusive advisory lock on a hidden file in it, created private to its
// owner and never removed (removing it would let a waiting loader lock a file
// that no longer has a name). Requests and their usage run on from one file
// into the next, so only one loader taking the files in order loads them
// whole; loaders of different directories run side by side.
//   AuditDirectoryLock lock;
//   std::string reason;
//   if (lock.TryTake("/var/log/qxes/audit", reason) == AuditDirectoryLock::Outcome::kBusy) {
//       /* wait, try again */
//   }
#pragma once

#include <string>

#include "fileDescriptor.h"

class AuditDirectoryLock {
  public:
    AuditDirectoryLock() = default;
    AuditDirectoryLock(AuditDirectoryLock&&) noexcept = default;
    AuditDirectoryLock& operator=(AuditDirectoryLock&&) noexcept = default;

    enum class Outcome {
        kHeld,      // the directory is ours until Release()
        kReadOnly,  // there is no lock file and this run may not make one: it can claim nothing
        kBusy,      // another loader holds it
        kUnusable,  // the lock file cannot be opened or locked; `reason` says why
    };

    // Tries once, without waiting.
    Outcome TryTake(const std::string& directory, std::string& reason);
    bool IsHeld() const { return m_file.valid(); }
    void Release() { m_file.reset(); }

    // The lock file's path in a directory.
    static std::string PathIn(const std::string& directory);

    static const char kFileName[];  // ".qxesauditfileprocessor.lock"

  private:
    FileDescriptor m_file;
};
