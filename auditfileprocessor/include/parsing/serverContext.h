// What the audit lines say about the server that wrote them: its version
// line (which also marks the server's start), its last general line and the
// machine and port of its start-up line. Request and dispatcher rows refer to
// this server instance; it carries over from one file to the next.
#pragma once

#include <cstdint>
#include <string>

struct ServerContext {
    int32_t versionNumber = 0;     // -1 after a bad version line
    std::string versionTimeStamp;  // the server's start, as the database reads it
    std::string versionTimeZone;
    std::string versionMessage;
    std::string generalMessage;
    std::string machineName;
    // The SQL null until a start-up line names the port: requests read
    // before one are loaded without it rather than refused.
    std::string machinePort = "NULL";
};
