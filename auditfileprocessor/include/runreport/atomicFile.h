// Replaces a file's content atomically: the new content goes to a temporary
// file in the same directory, is flushed to disk, then renamed over the old
// file. A reader (a monitoring collector) sees the old file or the new one,
// never half of one.
//   std::string reason;
//   if (!AtomicFile::Write("/var/lib/node/afp.prom", text, reason)) { /* AFP-0061 */ }
#pragma once

#include <string>

class AtomicFile {
  public:
    // False with the system's reason when the file could not be replaced; the
    // old file is then left as it was and no temporary file remains.
    static bool Write(const std::string& path, const std::string& content, std::string& reason);
};
