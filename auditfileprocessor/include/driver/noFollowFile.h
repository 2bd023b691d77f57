// Opens an output file (the dump, the error log, the reject file) only where
// what the loader writes stays the running user's own. A new file is created
// exclusively, readable and writable by its owner only. An existing one is
// used only when it is a regular file of the running user, with no other name
// (hard link), that no other user may write, nor read unless `kGroupMayRead`
// lets its group read it; a character device (only an administrator makes
// one: /dev/null) is used as it is. A symbolic link in the last path component
// is never followed, and a fifo never waited on.
//   std::string reason;
//   bool isLink = false;
//   FILE* log = NoFollowFile::Open("/var/log/afp.log", NoFollowFile::kAppend,
//                                  NoFollowFile::kGroupMayRead, reason, isLink);
//   if (log == nullptr) { /* AFP-0055 when isLink, otherwise reason says why */ }
#pragma once

#include <cstdio>
#include <string>

#include "fileDescriptor.h"

class NoFollowFile {
  public:
    enum Mode { kAppend, kTruncate };
    enum Readers { kOwnerOnly, kGroupMayRead };

    // The open file, or an invalid one with `reason` (the system's reason, or
    // why the existing file is refused) and `isLink` set.
    static FileDescriptor OpenDescriptor(const std::string& path, Mode mode, Readers readers,
                                         std::string& reason, bool& isLink);
    // The same as a stream; NULL on failure.
    static FILE* Open(const std::string& path, Mode mode, Readers readers, std::string& reason,
                      bool& isLink);
};
