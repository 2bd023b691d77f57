#include "programGlobals.h"

const char* g_pgm_dir = nullptr;
FILE* g_SQLDumpFile = nullptr;
std::string g_CurrentAuditFile;
const char* const kProgramName = "qxesauditfileprocessor";
