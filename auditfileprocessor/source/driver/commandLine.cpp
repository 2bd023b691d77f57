#include "commandLine.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "fileTools.h"
#include "messenger.h"
#include "passwordFile.h"
#include "passwordMask.h"

namespace {

const int kMinimumArgumentCount = 6;
const char kDetailed[] = "detailed";
// Bounds that keep a mistyped value from stalling a scheduled run for days.
const unsigned long kMaxConnectRetries = 100;
const unsigned long kMaxWaitSeconds = 86400;

void Refuse(int message) {
    Messenger::Get().DisplayMessage(message);
}

// Only a bare name of an existing file, or a path in an existing directory, can
// serve as the error log.
bool ErrorLogPathUsable(const std::string& path) {
    if (FileTools::FileExists(path)) {
        return true;
    }
    const size_t lastSlash = path.rfind('/');
    if (lastSlash == std::string::npos) {
        return false;
    }
    return FileTools::DirectoryExists(path.substr(0, lastSlash));
}

// A whole decimal number no larger than `maximum`, nothing else; otherwise
// message 63 names the option and its value.
bool ReadCount(const std::string& option, const std::string& text, unsigned long maximum,
               int& count) {
    unsigned long value = 0;
    bool valid = !text.empty() && text.size() <= 9;
    for (char c : text) {
        valid = valid && c >= '0' && c <= '9';
        value = valid ? value * 10 + static_cast<unsigned long>(c - '0') : 0;
    }
    if (!valid || value > maximum) {
        Messenger::Get().DisplayMessage(63, option, text);
        return false;
    }
    count = static_cast<int>(value);
    return true;
}

// Where the connection text begins in a -dbconnect value: after "LOCAL;xx;".
size_t ConnectionTextStart(const std::string& value) {
    const size_t local = value.find("LOCAL");
    const size_t first = local == std::string::npos ? local : value.find(';', local);
    const size_t second = first == std::string::npos ? first : value.find(';', first + 1);
    return second == std::string::npos ? 0 : second + 1;
}

}  // namespace

InformationRequest RequestedInformation(int argc, char** argv) {
    for (int index = 1; index < argc; ++index) {
        const std::string option = stringToLower(argv[index]);
        if (option == "--help" || option == "-h") {
            return InformationRequest::kHelp;
        }
        if (option == "--version") {
            return InformationRequest::kVersion;
        }
    }
    return InformationRequest::kNone;
}

bool DetailedExitStatusRequested(int argc, char** argv) {
    for (int index = 1; index + 1 < argc; ++index) {
        if (stringToLower(argv[index]) == "-exitstatus" &&
            std::string(argv[index + 1]) == kDetailed) {
            return true;
        }
    }
    return false;
}

void HidePasswordArguments(int argc, char** argv) {
    for (int index = 1; index + 1 < argc; ++index) {
        const std::string option = stringToLower(argv[index]);
        char* value = argv[index + 1];
        if (option == "-dbpass") {
            std::fill(value, value + std::strlen(value), 'x');
        } else if (option == "-dbconnect") {
            char* text = value + ConnectionTextStart(value);
            for (const auto& [offset, length] : PasswordMask::Find(text)) {
                std::fill(text + offset, text + offset + length, 'x');
            }
        }
    }
}

std::string stringToLower(const std::string& text) {
    std::string lower = text;
    for (char& c : lower) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return lower;
}

bool GetArgumentValue(char** argv, int argc, int index, std::string& value) {
    // An empty argument throws std::out_of_range from at(), which the program
    // entry reports as an unknown failure.
    if (index < argc && std::string(argv[index]).at(0) != '-') {
        value = argv[index];
        return true;
    }
    Messenger::Get().DisplayMessage(43, argv[index - 1]);
    return false;
}

namespace {

// What the command line gave, before it is checked.
struct GivenOptions {
    std::string dbName, dbConnectText, dbUser, dbPassword, auditLocation, sqlDumpFile, errorLogFile;
    // The row count is kept modulo 65,536 on purpose: "-nbrows 70000" gives 4,464.
    uint16_t rowCount = 10;
    bool stopOnAllErrors = false;
    // The options beyond the original nine, already in their final form.
    AFPOptions added;
};

// Where the value of a text option goes; NULL for the other options.
std::string* TextTarget(const std::string& option, GivenOptions& given) {
    const std::pair<const char*, std::string*> targets[] = {
        {"-dbname", &given.dbName},
        {"-dbconnect", &given.dbConnectText},
        {"-dbuser", &given.dbUser},
        {"-dbpass", &given.dbPassword},
        {"-auditlocation", &given.auditLocation},
        {"-df", &given.sqlDumpFile},
        {"-errorlog", &given.errorLogFile},
        {"-rejectfile", &given.added.rejectFile},
        {"-passfile", &given.added.passwordFile},
        {"-report", &given.added.reportFile},
        {"-metrics", &given.added.metricsFile},
    };
    for (const auto& target : targets) {
        if (option == target.first) {
            return target.second;
        }
    }
    return nullptr;
}

// The options whose values are checked as they are read.
bool IsCheckedOption(const std::string& option) {
    return option == "-exitstatus" || option == "-retries" || option == "-lockwait" ||
           option == "-settle";
}

bool ReadCheckedOption(const std::string& option, const std::string& value, AFPOptions& added) {
    if (option == "-exitstatus") {
        if (value != kDetailed) {
            Messenger::Get().DisplayMessage(63, option, value);
            return false;
        }
        added.detailedExitStatus = true;
        return true;
    }
    if (option == "-retries") {
        return ReadCount(option, value, kMaxConnectRetries, added.connectRetries);
    }
    return ReadCount(option, value, kMaxWaitSeconds,
                     option == "-lockwait" ? added.lockWaitSeconds : added.settleSeconds);
}

// Reads one option and its value, at argv[index]; false (with its message)
// when it is unknown or its value is missing or wrong.
bool ReadOption(char** argv, int argc, int& index, GivenOptions& given) {
    const std::string option = stringToLower(argv[index]);
    std::string value;
    if (std::string* target = TextTarget(option, given)) {
        return GetArgumentValue(argv, argc, ++index, *target);
    }
    if (IsCheckedOption(option)) {
        return GetArgumentValue(argv, argc, ++index, value) &&
               ReadCheckedOption(option, value, given.added);
    }
    if (option == "-nbrows" || option == "-exitonerror") {
        if (!GetArgumentValue(argv, argc, ++index, value)) {
            return false;
        }
        const long number = std::strtol(value.c_str(), nullptr, 10);
        if (option == "-nbrows") {
            given.rowCount = static_cast<uint16_t>(number);
        } else {
            given.stopOnAllErrors = number != 0;
        }
        return true;
    }
    Messenger::Get().DisplayMessage(42, option);
    return false;
}

// The required options, checked in their fixed order.
bool RequiredOptionsGiven(const GivenOptions& given) {
    // A password file stands in for "-dbpass"; without one, "-dbpass" is required.
    const std::pair<bool, int> checks[] = {
        {given.dbName.empty(), 14},
        {given.dbConnectText.empty(), 15},
        {given.dbUser.empty(), 11},
        {given.dbPassword.empty() && given.added.passwordFile.empty(), 17},
        {given.auditLocation.empty(), 13},
    };
    for (const auto& check : checks) {
        if (check.first) {
            Refuse(check.second);
            return false;
        }
    }
    return true;
}

}  // namespace

bool ProcessCommandLine(int argc, char** argv, AFPOptions* options) {
    if (argc < kMinimumArgumentCount) {
        Refuse(44);
        Refuse(39);
        return false;
    }
    GivenOptions given;
    for (int index = 1; index < argc; ++index) {
        const std::string argument = argv[index];
        if (!argument.empty() && argument[0] == '-' && !ReadOption(argv, argc, index, given)) {
            return false;
        }
    }
    if (!RequiredOptionsGiven(given)) {
        return false;
    }

    std::string& errorLogFile = given.errorLogFile;
    if (!errorLogFile.empty()) {
        errorLogFile = FileTools::MakePortablePath(errorLogFile);
        if (!ErrorLogPathUsable(errorLogFile)) {
            Refuse(41);
            return false;
        }
    }

    // "-dbconnect" is LOCAL;xx;rest: xx is the database type and rest the
    // connection text. The start of rest is fixed at LOCAL + 9 while its length
    // follows the second ";", so other shapes give what this arithmetic gives;
    // a start past the end throws std::out_of_range.
    const std::string& dbConnectText = given.dbConnectText;
    const size_t local = dbConnectText.find("LOCAL");
    if (local == std::string::npos) {
        Refuse(19);
        return false;
    }
    const size_t firstSemicolon = dbConnectText.find(';', local);
    const std::string dbType = dbConnectText.substr(firstSemicolon + 1, 2);
    const size_t secondSemicolon = dbConnectText.find(';', firstSemicolon + 1);
    const std::string dbConnect =
        dbConnectText.substr(local + 9, dbConnectText.length() - secondSemicolon - 1);

    // The file's password wins over a "-dbpass" given as well.
    const AFPOptions& added = given.added;
    if (!added.passwordFile.empty() && !PasswordFile::Read(added.passwordFile, given.dbPassword)) {
        return false;
    }

    *options = AFPOptions(given.dbName, dbType, dbConnect, given.dbUser, given.dbPassword,
                          given.auditLocation, given.sqlDumpFile, errorLogFile,
                          static_cast<int>(given.rowCount), given.stopOnAllErrors);
    options->rejectFile = added.rejectFile;
    options->passwordFile = added.passwordFile;
    options->detailedExitStatus = added.detailedExitStatus;
    options->reportFile = added.reportFile;
    options->metricsFile = added.metricsFile;
    options->connectRetries = added.connectRetries;
    options->lockWaitSeconds = added.lockWaitSeconds;
    options->settleSeconds = added.settleSeconds;
    return true;
}
