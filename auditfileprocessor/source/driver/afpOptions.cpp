#include "afpOptions.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <vector>

#include "fileDescriptor.h"
#include "fileTools.h"
#include "krlAssertError.h"
#include "programGlobals.h"

const std::string kErrorLogFileLocation = "ErrorLogFileLocation";
const std::string kTransactionRowCount = "TransactionRowCount";
const std::string kStopOnAllErrors = "StopOnAllErrors";
const std::string kDeleteAuditFile = "DeleteAuditFiles";
const std::string kAFPConfigErrorFileName = "qxesafp_errors.log";
const std::string kAFPConfigFileName = "qxesafp.conf";

namespace {

constexpr size_t kMaxLineLength = 1024;

std::string TrimBlanks(const std::string& text) {
    const size_t first = text.find_first_not_of(' ');
    if (first == std::string::npos) {
        return std::string();
    }
    return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

long DecimalValue(const std::string& text) {
    return std::strtol(text.c_str(), nullptr, 10);
}

// The whole file, or nothing when it cannot be opened or read.
std::string ReadWholeFile(const std::string& path) {
    FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat status;
    if (!file.valid() || ::fstat(file.get(), &status) != 0 || status.st_size <= 0) {
        return std::string();
    }
    std::vector<char> bytes(static_cast<size_t>(status.st_size));
    size_t filled = 0;
    while (filled < bytes.size()) {
        const ssize_t count = ::read(file.get(), bytes.data() + filled, bytes.size() - filled);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            break;
        }
        filled += static_cast<size_t>(count);
    }
    return std::string(bytes.data(), filled);
}

}  // namespace

AFPOptions::AFPOptions() = default;

AFPOptions::AFPOptions(const std::string& databaseName, const std::string& databaseType,
                       const std::string& connectString, const std::string& user,
                       const std::string& password, const std::string& auditDirectory,
                       const std::string& dumpFile, const std::string& errorLog,
                       const int& rowsPerTransaction, const bool& stopOnErrors)
    : dbName(databaseName),
      dbType(databaseType),
      dbConnect(connectString),
      dbUser(user),
      dbPassword(password),
      auditLocation(auditDirectory),
      sqlDumpFile(dumpFile),
      deleteAuditFiles(false),
      stopOnAllErrors(stopOnErrors),
      transactionRowCount(rowsPerTransaction),
      errorLogFile(errorLog) {}

void AFPOptions::LoadConfFileOptions() {
    LoadConfFileOptions(FileTools::AddTermToPath(g_pgm_dir != nullptr ? g_pgm_dir : "",
                                                 kAFPConfigFileName, FileTools::kPathDelim));
}

void AFPOptions::LoadConfFileOptions(const std::string& path) {
    const std::string content = ReadWholeFile(path);
    std::string line;
    for (char c : content) {
        // The file is read as a C text: it ends at its first NUL byte.
        if (c == '\0') {
            break;
        }
        // A line ends at a newline or at its 1,024th character; the character
        // at which it is cut is dropped.
        if (c != '\n' && line.size() < kMaxLineLength) {
            line += c;
            continue;
        }
        const std::string complete = line;
        line.clear();
        if (complete.empty() || complete[0] == '#') {
            continue;
        }
        const size_t equals = complete.find('=');
        if (equals == std::string::npos) {
            continue;
        }
        const std::string key = TrimBlanks(complete.substr(0, equals));
        std::string value = complete.substr(equals + 1);
        while (!value.empty() && value.back() == '\n') {
            value.pop_back();
        }
        value = TrimBlanks(value);

        if (key == kDeleteAuditFile) {
            deleteAuditFiles = DecimalValue(value) != 0;
        } else if (key == kStopOnAllErrors) {
            stopOnAllErrors = DecimalValue(value) != 0;
        } else if (key == kTransactionRowCount) {
            // Kept as the file says; values outside the int range are clamped.
            const long count = DecimalValue(value);
            transactionRowCount = count > INT32_MAX   ? INT32_MAX
                                  : count < INT32_MIN ? INT32_MIN
                                                      : static_cast<int>(count);
        } else if (key == kErrorLogFileLocation) {
            errorLogFile = FileTools::AddTermToPath(FileTools::MakePortablePath(value),
                                                    kAFPConfigErrorFileName, FileTools::kPathDelim);
        } else {
            KRL_ASSERT(FALSE, "auditfileprocessor/source/afpoptions", 148);
        }
    }
    // Whatever was collected after the last newline is dropped: a last line
    // without a newline is never applied.
}
