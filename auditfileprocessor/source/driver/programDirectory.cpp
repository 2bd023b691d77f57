#include "programDirectory.h"

#include <cstdio>
#include <cstring>
#include <string>

#include "programGlobals.h"
#include "splitPath.h"
#include "which.h"

bool FindProgramDirectory(const char* argv0) {
    const char* executable = which(argv0);
    if (executable == nullptr) {
        std::fprintf(stderr,
                     "%s: cannot find the program's own directory (started as \"%s\"); start "
                     "it by a path, or put its directory in PATH.\n",
                     kProgramName, argv0 != nullptr ? argv0 : "");
        return false;
    }
    std::string drive;
    std::string directory;
    SplitPath(executable, &drive, &directory, nullptr, nullptr);
    // Lives for the whole run; the options loader and the catalogue read it.
    static std::string programDirectory;
    programDirectory = drive + directory;
    g_pgm_dir = programDirectory.c_str();
    return true;
}
