// File and path tools over POSIX: joining paths, existence checks, and stdio
// streams opened with explicit permissions.
//   std::string conf = FileTools::AddTermToPath("/opt/afp/bin/", "qxesafp.conf",
//   FileTools::kPathDelim); FILE* log = FileTools::_fopen("/var/log/afp.log", "a+");
#pragma once

#include <sys/types.h>

#include <cstdio>
#include <string>

class FileTools {
  public:
    static constexpr char kPathDelim = '/';

    // path + name, with the delimiter added between them when path lacks it.
    static std::string AddTermToPath(const std::string& path, const std::string& name, char delim);
    // The path with every backslash turned into a slash.
    static std::string MakePortablePath(const std::string& path);
    // True for an existing regular file (links followed).
    static bool FileExists(const std::string& path);
    // True for an existing directory (links followed); false for the empty path.
    static bool DirectoryExists(const std::string& path);
    // Makes the directory's entries (a rename in it) durable; false on failure.
    static bool SyncDirectory(const std::string& path);
    // Takes an exclusive lock on the open file without waiting (flock), taken
    // again after a signal; false with errno set (EWOULDBLOCK: another holds it).
    static bool TryLockExclusive(int descriptor);
    // Opens a stream with a C stdio mode ("r", "w", "a", "r+", "w+", "a+");
    // a file it creates gets the given permissions (before the umask). NULL on failure.
    static FILE* _fopen(const std::string& path, const char* mode, mode_t permissions = 0666);
};
