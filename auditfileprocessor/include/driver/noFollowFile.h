// Opens an output file without following a symbolic link in its last path
// component, so that a link planted where the dump or the error log is
// expected can never redirect, truncate or re-mode another file.
//   bool isLink = false;
//   FILE* log = NoFollowFile::Open("/var/log/afp.log", O_APPEND, 0666, "a", isLink);
//   if (log == nullptr && isLink) { /* AFP-0055 */ }
#pragma once

#include <sys/types.h>

#include <cstdio>
#include <string>

class NoFollowFile {
  public:
    // Opens `path` for writing with O_CREAT and the extra `flags` (O_APPEND or
    // O_TRUNC), as a stream of `streamMode`. NULL on failure, with errno set and
    // `isLink` true when the path is a symbolic link.
    static FILE* Open(const std::string& path, int flags, mode_t permissions,
                      const char* streamMode, bool& isLink);
};
