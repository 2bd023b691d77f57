// The reject file: every line that the loader refused, appended with the
// audit file it came from, its line number and the cause, so that an
// administrator can look at it, mend it, and load it again. The file is
// opened on first use, in append mode, never through a symbolic link; it is
// created readable by its owner only (audit lines may name users), and an
// existing one is refused unless it is the running user's and no other user
// may read or write it (its group may read it). A failure is recorded among
// the run's failed outputs.
//   RejectFile rejects("/var/log/afp/errors.log.rejected");
//   rejects.Append("/audit/qxes_audit_1.log", {42, 5120}, "the line has too few fields", rawLine);
// A record is two lines: "# <audit file>:<line>: at byte <offset>: <cause>",
// with the control characters of the file name and the cause escaped, then
// the raw line as it was read (without its line end). The line is numbered as
// grep -n and editors count, the header line being line 1; the offset is
// where the line begins in the file.
#pragma once

#include <cstdint>
#include <string>

#include "fileDescriptor.h"

class RejectFile {
  public:
    // An empty path makes a reject file that keeps nothing.
    explicit RejectFile(std::string path = std::string());

    const std::string& path() const { return m_path; }
    // False when the record could not be written; `reason` then holds the
    // system's reason (the caller shows it once).
    struct Position {
        uint64_t line;
        uint64_t offset;
    };
    bool Append(const std::string& auditFile, Position where, const std::string& cause,
                const std::string& rawLine, std::string& reason);

  private:
    std::string m_path;
    FileDescriptor m_file;
};
