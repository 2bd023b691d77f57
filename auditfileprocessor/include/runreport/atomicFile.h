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
    // True when Write would find the file replaceable now: its directory
    // exists and takes a new file, and the path names nothing, or a regular
    // file of the running user. False with the reason otherwise. Checked at
    // the start of a run, so that a mistake fails before anything is loaded.
    static bool CanReplace(const std::string& path, std::string& reason);
    // False with the reason when the file could not be replaced (as for
    // CanReplace, or a write, flush or rename that failed); the old file is
    // then left as it was and no temporary file remains. Only when the
    // directory cannot be flushed after the rename is the new file in place.
    static bool Write(const std::string& path, const std::string& content, std::string& reason);
};
