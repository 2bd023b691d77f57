#include "dataAccessLayer.h"

#include <libpq-fe.h>
#include <sqlite3.h>

int rdxProcessInitialize(const char* programName) {
    (void)programName;  // neither library keeps a program name
    // The memory statistics take a process-wide lock on every allocation and
    // nothing here reads them. Refused harmlessly once SQLite is initialised.
    sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
    if (sqlite3_initialize() != SQLITE_OK) {
        return -1;
    }
    // The run is single-threaded, but a client library built without thread
    // safety points at a broken installation.
    if (PQisthreadsafe() == 0) {
        return -2;
    }
    return 0;
}
