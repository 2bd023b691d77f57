// Start-up of the database client libraries, once per process before the
// first session connects.
//   if (rdxProcessInitialize(kProgramName) < 0) { /* no database access */ }
#pragma once

// Initialises every database client library; non-negative on success.
int rdxProcessInitialize(const char* programName);
