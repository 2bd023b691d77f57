#include "commandLine.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <cstring>

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

bool ProcessCommandLine(int argc, char** argv, AFPOptions* options) {
    if (argc < kMinimumArgumentCount) {
        Refuse(44);
        Refuse(39);
        return false;
    }

    std::string dbName, dbConnectText, dbUser, dbPassword, auditLocation, sqlDumpFile, errorLogFile;
    // The row count is kept modulo 65,536 on purpose: "-nbrows 70000" gives 4,464.
    uint16_t rowCount = 10;
    bool stopOnAllErrors = false;
    AFPOptions added;

    for (int index = 1; index < argc; ++index) {
        const std::string argument = argv[index];
        if (argument.empty() || argument[0] != '-') {
            continue;
        }
        const std::string option = stringToLower(argument);
        std::string* target = nullptr;
        if (option == "-dbname") {
            target = &dbName;
        } else if (option == "-dbconnect") {
            target = &dbConnectText;
        } else if (option == "-dbuser") {
            target = &dbUser;
        } else if (option == "-dbpass") {
            target = &dbPassword;
        } else if (option == "-auditlocation") {
            target = &auditLocation;
        } else if (option == "-df") {
            target = &sqlDumpFile;
        } else if (option == "-errorlog") {
            target = &errorLogFile;
        } else if (option == "-rejectfile") {
            target = &added.rejectFile;
        } else if (option == "-passfile") {
            target = &added.passwordFile;
        } else if (option == "-report") {
            target = &added.reportFile;
        } else if (option == "-metrics") {
            target = &added.metricsFile;
        }
        const bool checked = option == "-exitstatus" || option == "-retries" ||
                             option == "-lockwait" || option == "-settle";
        if (target != nullptr) {
            if (!GetArgumentValue(argv, argc, ++index, *target)) {
                return false;
            }
        } else if (checked) {
            std::string value;
            if (!GetArgumentValue(argv, argc, ++index, value)) {
                return false;
            }
            if (option == "-exitstatus") {
                if (value != kDetailed) {
                    Messenger::Get().DisplayMessage(63, option, value);
                    return false;
                }
                added.detailedExitStatus = true;
            } else if (!ReadCount(option, value,
                                  option == "-retries" ? kMaxConnectRetries : kMaxWaitSeconds,
                                  option == "-retries"    ? added.connectRetries
                                  : option == "-lockwait" ? added.lockWaitSeconds
                                                          : added.settleSeconds)) {
                return false;
            }
        } else if (option == "-nbrows" || option == "-exitonerror") {
            std::string number;
            if (!GetArgumentValue(argv, argc, ++index, number)) {
                return false;
            }
            const long value = std::strtol(number.c_str(), nullptr, 10);
            if (option == "-nbrows") {
                rowCount = static_cast<uint16_t>(value);
            } else {
                stopOnAllErrors = value != 0;
            }
        } else {
            Messenger::Get().DisplayMessage(42, option);
            return false;
        }
    }

    if (dbName.empty()) {
        Refuse(14);
        return false;
    }
    if (dbConnectText.empty()) {
        Refuse(15);
        return false;
    }
    if (dbUser.empty()) {
        Refuse(11);
        return false;
    }
    // A password file stands in for "-dbpass"; without one, "-dbpass" is required.
    if (dbPassword.empty() && added.passwordFile.empty()) {
        Refuse(17);
        return false;
    }
    if (auditLocation.empty()) {
        Refuse(13);
        return false;
    }

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
    if (!added.passwordFile.empty() && !PasswordFile::Read(added.passwordFile, dbPassword)) {
        return false;
    }

    *options = AFPOptions(dbName, dbType, dbConnect, dbUser, dbPassword, auditLocation, sqlDumpFile,
                          errorLogFile, static_cast<int>(rowCount), stopOnAllErrors);
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
