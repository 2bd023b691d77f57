// Fuzz target: the command line. The input is split at NUL bytes into the
// arguments that follow the program name, as the system would pass them.
//
// Refusals are messages (silenced here) and, for an empty value or a short
// "-dbconnect" text, std::out_of_range, which the program entry reports. An
// accepted command line must carry every required setting.
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "afpOptions.h"
#include "commandLine.h"
#include "fuzzSupport.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzzSupport::SilenceMessages();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<std::string> arguments{"qxesauditfileprocessor"};
    const std::string input(reinterpret_cast<const char*>(data), size);
    std::string::size_type start = 0;
    while (start <= input.size()) {
        const std::string::size_type end = input.find('\0', start);
        arguments.push_back(input.substr(start, end - start));
        if (end == std::string::npos) {
            break;
        }
        start = end + 1;
    }

    // argv as main receives it: writable texts and a null pointer after the last.
    std::vector<std::vector<char>> storage;
    std::vector<char*> argv;
    for (const std::string& argument : arguments) {
        storage.emplace_back(argument.begin(), argument.end());
        storage.back().push_back('\0');
    }
    for (std::vector<char>& text : storage) {
        argv.push_back(text.data());
    }
    argv.push_back(nullptr);

    AFPOptions options;
    bool accepted = false;
    try {
        accepted = ProcessCommandLine(static_cast<int>(arguments.size()), argv.data(), &options);
    } catch (const std::out_of_range&) {
        return 0;
    }
    if (accepted &&
        (options.dbName.empty() || options.dbUser.empty() || options.dbPassword.empty() ||
         options.auditLocation.empty() || options.deleteAuditFiles ||
         options.transactionRowCount < 0 || options.transactionRowCount > 65535)) {
        fuzzSupport::Fail("an accepted command line lacks a required setting or has a bad one");
    }
    return 0;
}
