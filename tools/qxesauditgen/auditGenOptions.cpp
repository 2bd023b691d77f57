#include "auditGenOptions.h"

#include <cstring>
#include <limits>

namespace {

// A whole decimal number within [minimum, maximum], nothing else.
bool readNumber(const char* text, uint64_t minimum, uint64_t maximum, uint64_t& value) {
    if (*text == '\0') {
        return false;
    }
    uint64_t result = 0;
    for (const char* at = text; *at != '\0'; ++at) {
        if (*at < '0' || *at > '9') {
            return false;
        }
        unsigned digit = static_cast<unsigned>(*at - '0');
        if (result > (std::numeric_limits<uint64_t>::max() - digit) / 10) {
            return false;
        }
        result = result * 10 + digit;
    }
    if (result < minimum || result > maximum) {
        return false;
    }
    value = result;
    return true;
}

// Session identifiers travel in SQL keys and file names: keep them plain.
bool isPlainPrefix(const std::string& prefix) {
    if (prefix.size() > AuditGenOptions::kMaxSessionPrefix) {
        return false;
    }
    for (char c : prefix) {
        bool plain = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
                     c == '_' || c == '-' || c == '.';
        if (!plain) {
            return false;
        }
    }
    return true;
}

bool takesValue(const std::string& option) {
    for (const char* name :
         {"--output", "--seed", "--files", "--lines", "--sessions", "--session-prefix", "--days"}) {
        if (option == name) {
            return true;
        }
    }
    return false;
}

}  // namespace

bool AuditGenOptions::parse(int argc, const char* const* argv, std::string& error) {
    const uint64_t kMaxCount = 1000000000;
    // Each open session keeps its request in memory.
    const uint64_t kMaxSessions = 100000;
    const uint64_t kMaxDays = 3650;
    // Looked for first, so that a request is answered whatever else the line holds.
    for (int index = 1; index < argc; ++index) {
        const std::string request = argv[index];
        helpRequested = request == "--help" || request == "-h";
        versionRequested = request == "--version";
        if (helpRequested || versionRequested) {
            return true;
        }
        index += takesValue(request) ? 1 : 0;
    }
    for (int index = 1; index < argc; ++index) {
        std::string option = argv[index];
        if (option == "--live") {
            live = true;
            continue;
        }
        if (option == "--split-usage") {
            splitUsage = true;
            continue;
        }
        if (!takesValue(option)) {
            error = "unknown option " + option;
            return false;
        }
        if (index + 1 >= argc) {
            error = option + " needs a value";
            return false;
        }
        const char* value = argv[++index];
        uint64_t number = 0;
        if (option == "--output") {
            outputDirectory = value;
            if (outputDirectory.empty()) {
                error = "--output needs a directory";
                return false;
            }
        } else if (option == "--seed") {
            if (!readNumber(value, 0, std::numeric_limits<uint64_t>::max(), number)) {
                error = "--seed needs a whole number";
                return false;
            }
            seed = number;
        } else if (option == "--files") {
            if (!readNumber(value, 0, kMaxCount, number)) {
                error = "--files needs a whole number";
                return false;
            }
            files = static_cast<uint32_t>(number);
        } else if (option == "--lines") {
            if (!readNumber(value, 1, kMaxCount, number)) {
                error = "--lines needs a whole number of at least 1";
                return false;
            }
            linesPerFile = static_cast<uint32_t>(number);
        } else if (option == "--sessions") {
            if (!readNumber(value, 1, kMaxSessions, number)) {
                error = "--sessions needs a whole number from 1 to 100000";
                return false;
            }
            sessions = static_cast<uint32_t>(number);
        } else if (option == "--days") {
            if (!readNumber(value, 1, kMaxDays, number)) {
                error = "--days needs a whole number from 1 to 3650";
                return false;
            }
            days = static_cast<uint32_t>(number);
        } else if (option == "--session-prefix") {
            sessionPrefix = value;
            if (!isPlainPrefix(sessionPrefix)) {
                error = "--session-prefix takes at most 48 letters, digits, '_', '-' or '.'";
                return false;
            }
        }
    }
    if (outputDirectory.empty()) {
        error = "--output is required";
        return false;
    }
    return true;
}

const char* AuditGenOptions::usage() {
    return "usage: qxesauditgen --output DIR [options]\n"
           "Writes the audit files of a simulated reporting server into DIR.\n"
           "  --output DIR            directory for the audit files (created if missing)\n"
           "  --seed N                seed of the simulation (default 1); the same seed and\n"
           "                          options give the same bytes\n"
           "  --files N               number of rolled audit files (default 1)\n"
           "  --lines N               record lines per file, approximately (default 1000)\n"
           "  --sessions N            sessions open at the same time (default 8)\n"
           "  --session-prefix TEXT   prefix of every session identifier (default S)\n"
           "  --days N                spread the traffic over the working hours (08:00 to\n"
           "                          18:00) of N days; by default it takes minutes\n"
           "  --live                  also write the live file qxes_audit.log\n"
           "  --split-usage           let a request's lines run on into the next file\n"
           "  --help, -h              show this text\n"
           "  --version               show the version\n";
}
