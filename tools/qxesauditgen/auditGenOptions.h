// The command line of the audit-file writer.
//   AuditGenOptions options;
//   std::string error;
//   if (!options.parse(argc, argv, error)) { fputs(AuditGenOptions::usage(), stderr); ... }
#pragma once

#include <cstdint>
#include <string>

class AuditGenOptions {
  public:
    // Longest session prefix that leaves room for the generated part of a
    // session identifier within 64 bytes.
    static constexpr size_t kMaxSessionPrefix = 48;

    // Reads the options after the program name; false with `error` set when
    // an option is unknown, lacks its value or has a bad one. "--help", "-h"
    // or "--version" anywhere ends the reading with the matching flag set.
    bool parse(int argc, const char* const* argv, std::string& error);
    static const char* usage();

    std::string outputDirectory;
    uint64_t seed = 1;
    uint32_t files = 1;
    uint32_t linesPerFile = 1000;
    uint32_t sessions = 8;
    // Days whose working hours the traffic is spread over; 0 keeps it in one stretch.
    uint32_t days = 0;
    std::string sessionPrefix = "S";
    bool live = false;
    bool splitUsage = false;
    bool helpRequested = false;
    bool versionRequested = false;
};
