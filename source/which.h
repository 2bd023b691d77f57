// Finds an executable as a shell would: a name holding "/" is taken as it is,
// a bare name is searched in the directories of PATH.
//   const char* path = which("qxesauditfileprocessor");  // "/usr/local/bin/qxesauditfileprocessor"
#pragma once

// The executable's path, in a static buffer overwritten by the next call; NULL
// when no executable file of that name is found.
const char* which(const char* name);
