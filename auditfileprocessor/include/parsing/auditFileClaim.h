// The claim of one audit file by this run: an exclusive advisory lock on the
// file, taken before the rename-and-back test and held until the file's final
// rename, so that two runs on the same directory never load a file twice. A
// file another run holds is simply not claimed. Only regular files are
// claimed: links are never followed, and nothing else is renamed.
//   AuditFileClaim claim;
//   std::string reason;
//   if (claim.Take("/audit/qxes_audit_1.log", reason) == AuditFileClaim::Outcome::kTaken) {
//       load(); rename(...);  // lock held
//   }
//   claim.Release();
#pragma once

#include <string>

#include "fileDescriptor.h"

class AuditFileClaim {
  public:
    AuditFileClaim() = default;
    AuditFileClaim(AuditFileClaim&&) noexcept = default;
    AuditFileClaim& operator=(AuditFileClaim&&) noexcept = default;

    enum class Outcome {
        kTaken,           // the file is ours until Release()
        kTakenElsewhere,  // another run holds it, or loaded and renamed it since it was listed
        kNotRegular,      // a symbolic link, fifo, socket or device: neither followed nor renamed
        kNameTaken,       // path + "_processing" exists already; `reason` names it
        kFailed,          // it cannot be opened, locked or renamed; `reason` says why
    };

    // Locks the file, checks that the path still names it, and renames it to
    // path + "_processing" and back, never onto an existing name. Any outcome
    // but kTaken leaves nothing held and nothing renamed; kNotRegular,
    // kNameTaken and kFailed set `reason` (e.g. "fifo", "cannot open it:
    // Permission denied").
    Outcome Take(const std::string& path, std::string& reason);
    // The same, for callers that only need to know whether the file is theirs.
    bool Take(const std::string& path) {
        std::string reason;
        return Take(path, reason) == Outcome::kTaken;
    }
    bool IsHeld() const { return m_file.valid(); }
    // Drops the lock; the file is then free for any run.
    void Release() { m_file.reset(); }

    // Puts back under their own names the "..._processing" audit files that a
    // run killed inside its rename-and-back left behind and that no run holds,
    // unless a new file took that name since.
    static void RestoreInterruptedClaims(const std::string& directory);
    // rename(2) that fails with EEXIST instead of replacing `to`; errno says
    // why it failed.
    static bool RenameWithoutReplacing(const std::string& from, const std::string& to);

    static const char kClaimSuffix[];  // "_processing"

  private:
    // Opens and locks path without waiting; kTaken when the lock is ours and
    // the path still names the locked regular file.
    Outcome LockAndCheck(const std::string& path, std::string& reason);
    // Releases the claim after a failed rename (errno set): a file renamed
    // away by another run is kTakenElsewhere, anything else kFailed.
    Outcome RenameFailed(const std::string& operation, std::string& reason);

    FileDescriptor m_file;
};
