// The claim of one audit file by this run: an exclusive advisory lock on the
// file, taken before the rename-and-back test and held until the file's final
// rename, so that two runs on the same directory never load a file twice. A
// file another run holds is simply not claimed.
//   AuditFileClaim claim;
//   if (claim.Take("/audit/qxes_audit_1.log")) { load(); rename(...); }  // lock held
//   claim.Release();
#pragma once

#include <string>

#include "fileDescriptor.h"

class AuditFileClaim {
  public:
    AuditFileClaim() = default;
    AuditFileClaim(AuditFileClaim&&) noexcept = default;
    AuditFileClaim& operator=(AuditFileClaim&&) noexcept = default;

    // Locks the file, checks that the path still names it, and renames it to
    // path + "_processing" and back. False leaves nothing held.
    bool Take(const std::string& path);
    bool IsHeld() const { return m_file.valid(); }
    // Drops the lock; the file is then free for any run.
    void Release() { m_file.reset(); }

    // Puts back under their own names the "..._processing" audit files that a
    // run killed inside its rename-and-back left behind and that no run holds.
    static void RestoreInterruptedClaims(const std::string& directory);

    static const char kClaimSuffix[];  // "_processing"

  private:
    // Opens and locks path without waiting; true when the lock is ours and the
    // path still names the locked file.
    bool LockAndCheck(const std::string& path);

    FileDescriptor m_file;
};
