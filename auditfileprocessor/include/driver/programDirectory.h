// Finds the directory of the running program, where its configuration file
// lives and from which its message catalogue is found.
//   if (!FindProgramDirectory(argv[0])) { /* refused on standard error */ }
//   // g_pgm_dir is now e.g. "/opt/afp/bin/"
#pragma once

// Sets g_pgm_dir to the directory of the executable named by argv0 (searched in
// PATH for a bare name), ending in "/". False, after a message on standard
// error, when the executable cannot be found.
bool FindProgramDirectory(const char* argv0);
