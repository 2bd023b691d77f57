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

// Reads the value of an option that takes one.
bool readValue(AuditGenOptions& options, const std::string& option, const char* value,
               std::string& error) {
    if (option == "--output" || option == "--session-prefix") {
        std::string& text = option == "--output" ? options.outputDirectory : options.sessionPrefix;
        text = value;
        const bool valid = option == "--output" ? !text.empty() : isPlainPrefix(text);
        if (!valid) {
            error = option == "--output"
                        ? "--output needs a directory"
                        : "--session-prefix takes at most 48 letters, digits, '_', '-' or '.'";
        }
        return valid;
    }
    if (option == "--seed") {
        const bool valid = readNumber(value, 0, std::numeric_limits<uint64_t>::max(), options.seed);
        error = valid ? "" : "--seed needs a whole number";
        return valid;
    }
    const uint64_t kMaxCount = 1000000000;
    // Each open session keeps its request in memory.
    const uint64_t kMaxSessions = 100000;
    const uint64_t kMaxDays = 3650;
    struct Count {
        const char* option;
        uint64_t minimum, maximum;
        uint32_t* target;
        const char* error;
    };
    const Count counts[] = {
        {"--files", 0, kMaxCount, &options.files, "--files needs a whole number"},
        {"--lines", 1, kMaxCount, &options.linesPerFile,
         "--lines needs a whole number of at least 1"},
        {"--sessions", 1, kMaxSessions, &options.sessions,
         "--sessions needs a whole number from 1 to 100000"},
        {"--days", 1, kMaxDays, &options.days, "--days needs a whole number from 1 to 3650"},
    };
    for (const Count& count : counts) {
        uint64_t number = 0;
        if (option != count.option) {
            continue;
        }
        if (!readNumber(value, count.minimum, count.maximum, number)) {
            error = count.error;
            return false;
        }
        *count.target = static_cast<uint32_t>(number);
        return true;
    }
    return true;
}

}  // namespace

bool AuditGenOptions::parse(int argc, const char* const* argv, std::string& error) {
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
        if (!readValue(*this, option, argv[++index], error)) {
            return false;
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
