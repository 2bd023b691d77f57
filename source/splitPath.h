// Splits a path into drive, directory, file name and extension, the way the
// Windows-style layer does; on this platform the drive is always empty.
//   SplitPath("/opt/afp/bin/prog.exe", &drive, &dir, &name, &ext);
//   // drive "", dir "/opt/afp/bin/", name "prog", ext ".exe"
#pragma once

#include <string>

// Any output pointer may be NULL when that part is not wanted.
void SplitPath(const std::string& path, std::string* drive, std::string* directory,
               std::string* fileName, std::string* extension);
