// The few process-wide values of a run.
#pragma once

#include <cstdio>
#include <string>

// The program's own directory, ending in "/"; set once at start-up and read by
// the options loader and the message catalogue. NULL until then.
extern const char* g_pgm_dir;

// The SQL dump file ("-df"), NULL when no dump is written. Opened by the entry,
// written through SqlDumpFile, which closes it at the end of the run or at its
// first failed write.
extern FILE* g_SQLDumpFile;

// The full path of the audit file being loaded, for messages.
extern std::string g_CurrentAuditFile;

// The program name given to the runtime and the data access layer.
extern const char* const kProgramName;
