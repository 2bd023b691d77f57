// The life of one run: find the program directory, set up the locale and the
// message catalogue, read the command line, then connect and load every audit
// file. Every failure ends in one outer handler that shows one message. A run
// that connected ends with its summary message; the run reports are written
// last. The exit status is 0 unless "-exitstatus detailed" asks for one that
// tells how the run went.
#include <fcntl.h>
#include <sys/stat.h>

#include <csignal>
#include <cstdio>
#include <memory>
#include <string>

#include "afpOptions.h"
#include "atomicFile.h"
#include "commandLine.h"
#include "cppWebException.h"
#include "dataAccessLayer.h"
#include "directoryLister.h"
#include "exitStatus.h"
#include "messenger.h"
#include "metricsReport.h"
#include "noFollowFile.h"
#include "parser.h"
#include "processingLocale.h"
#include "programDirectory.h"
#include "programGlobals.h"
#include "qxMessage.h"
#include "rdxSqlException.h"
#include "runOutcome.h"
#include "runReport.h"
#include "sqldbapi.h"
#include "stopRequest.h"

namespace {

const char kSourceFile[] = "afpmain";
const char kFunction[] = "qxesauditfileprocessor::main";
const char kVersion[] = AFP_VERSION;
const char kMaskedPassword[] = "********";
constexpr size_t kDumpBufferBytes = 1 << 20;

ExceptionLocation At(int line) {
    return ExceptionLocation{kSourceFile, line, kFunction, "KRL_THROW"};
}

// A lost database connection must show as an error of its statement, not kill
// the process with SIGPIPE.
int InitializeRuntime() {
    return std::signal(SIGPIPE, SIG_IGN) == SIG_ERR ? -1 : 0;
}

void SetUpMessages() {
    std::string locale;
    GetProcessingLocaleSettings(locale);
    robustSetLocale(locale, nullptr);
    QXMessage::Init("afpmsg", g_pgm_dir);
    QXMessage::SetLanguage(LanguageOfLocale(locale), CurrentLocaleEncoding());
}

// The dump holds the password, so only its owner may read it. A dump that
// cannot be opened is no error: the run goes on without one. A symbolic link
// is refused: following it would truncate and re-mode whatever it points to.
void OpenSqlDumpFile(const std::string& path) {
    if (path.empty() || g_SQLDumpFile != nullptr) {
        return;
    }
    bool isLink = false;
    g_SQLDumpFile = NoFollowFile::Open(path, O_TRUNC, S_IRUSR | S_IWUSR, "w", isLink);
    if (isLink) {
        Messenger::Get().DisplayMessage(55, path, "SQL dump");
    }
    // The dump is pushed out at transaction boundaries; a large buffer spares
    // the many small writes of the default one in between.
    // (The C library only honours the size of a buffer it is given.)
    static char buffer[kDumpBufferBytes];
    if (g_SQLDumpFile != nullptr) {
        std::setvbuf(g_SQLDumpFile, buffer, _IOFBF, sizeof buffer);
    }
    struct stat status;
    // Only a regular file is made private: a dump to /dev/null must not change the device.
    if (g_SQLDumpFile != nullptr && ::fstat(fileno(g_SQLDumpFile), &status) == 0 &&
        S_ISREG(status.st_mode)) {
        ::fchmod(fileno(g_SQLDumpFile), S_IRUSR | S_IWUSR);
    }
}

// A password read from a file stays out of the dump too.
void WriteConnectionToDump(const AFPOptions& options, const std::string& description) {
    if (g_SQLDumpFile == nullptr) {
        return;
    }
    const std::string password =
        options.passwordFile.empty() ? options.dbPassword : std::string(kMaskedPassword);
    const std::string lines = options.dbName + "\t" + options.dbConnect + "\t" + options.dbUser +
                              "\t" + password + "\t" + options.dbType + "\n" + description + "\n";
    std::fwrite(lines.data(), 1, lines.size(), g_SQLDumpFile);
    std::fflush(g_SQLDumpFile);
}

void LoadAuditFiles(const AFPOptions& options, RunOutcome& outcome) {
    // From here on SIGTERM and SIGINT end the run at the next line, cleanly.
    const StopRequest::Guard stopOnSignal;
    outcome.stage = RunStage::kConnecting;
    if (rdxProcessInitialize(kProgramName) < 0) {
        throw CPPWebException(37, 1, At(112));
    }
    OpenSqlDumpFile(options.sqlDumpFile);
    auto db = std::make_unique<SQLDB>();
    db->setLockWaitSeconds(options.lockWaitSeconds);
    const std::string description = db->connect(options.dbName, options.dbConnect, options.dbType,
                                                options.dbUser, options.dbPassword);
    outcome.stage = RunStage::kConnected;
    WriteConnectionToDump(options, description);
    // The parser goes before the session that it uses.
    auto parser = std::make_unique<Parser>(options, db.get(), std::string(g_pgm_dir));
    outcome.stage = RunStage::kLoading;
    try {
        parser->ParseDir();
    } catch (const std::exception&) {
        // What the files that did load did is kept for the summary.
        outcome.statistics = parser->Statistics();
        outcome.auditDirectoryMissing = !DirectoryLister::DirectoryExists(options.auditLocation);
        throw;
    }
    outcome.statistics = parser->Statistics();
    parser.reset();
    db.reset();
}

// False when the command line asked for the usage or the version only.
bool Run(int argc, char** argv, AFPOptions& options, RunOutcome& outcome) {
    if (InitializeRuntime() != 0) {
        throw CPPWebException(46, 1, At(76));
    }
    SetUpMessages();
    switch (RequestedInformation(argc, argv)) {
        case InformationRequest::kHelp:
            Messenger::Get().DisplayMessage(39);
            return false;
        case InformationRequest::kVersion:
            Messenger::Get().DisplayMessage(62, kVersion);
            return false;
        case InformationRequest::kNone:
            break;
    }
    outcome.stage = RunStage::kReadingCommandLine;
    if (!ProcessCommandLine(argc, argv, &options)) {
        throw CPPWebException(8, 1, At(105));
    }
    Messenger::m_sErrorLogFileName = options.errorLogFile;
    LoadAuditFiles(options, outcome);
    return true;
}

void WriteRunReport(const std::string& path, const std::string& content) {
    std::string reason;
    if (!path.empty() && !AtomicFile::Write(path, content, reason)) {
        Messenger::Get().DisplayMessage(61, path, reason);
    }
}

// The summary, the run reports and the exit status, once the run has ended
// however it ended.
int FinishRun(int argc, char** argv, const AFPOptions& options, RunOutcome& outcome) {
    outcome.Finish();
    if (outcome.Connected()) {
        // The summary belongs to no audit file: no banner before it.
        Messenger::m_sAuditLogFileName.clear();
        Messenger::m_isParsingNewLog = false;
        const RunStatistics& statistics = outcome.statistics;
        Messenger::Get().DisplayMessageWithInserts(
            58,
            {outcome.ElapsedSecondsText(), std::to_string(statistics.Count(FileOutcome::kLoaded)),
             std::to_string(statistics.Count(FileOutcome::kSetAside)),
             std::to_string(statistics.Count(FileOutcome::kStopped) +
                            statistics.Count(FileOutcome::kPutBack)),
             std::to_string(statistics.LinesRead()), std::to_string(statistics.LinesRefused()),
             std::to_string(statistics.RowsWritten()),
             std::to_string(statistics.Count(FileOutcome::kStillWritten)),
             std::to_string(statistics.Count(FileOutcome::kWaiting))});
    }
    const int status = ExitStatus::Of(outcome);
    // Existing schedules rely on 0 whatever happened; the detailed status is asked for.
    const bool detailed = options.detailedExitStatus || DetailedExitStatusRequested(argc, argv);
    const int exitStatus = detailed ? status : 0;
    WriteRunReport(options.reportFile, RunReport(outcome, kVersion, status, exitStatus).Json());
    WriteRunReport(options.metricsFile, MetricsReport(outcome, kVersion, status).Text());
    return exitStatus;
}

}  // namespace

int main(int argc, char** argv) {
    RunOutcome outcome;
    AFPOptions options;
    if (!FindProgramDirectory(argc > 0 ? argv[0] : nullptr)) {
        return 1;
    }
    bool ran = true;
    try {
        try {
            ran = Run(argc, argv, options, outcome);
        } catch (RDXSQLException& error) {
            error.addLocation(At(161));
            throw;
        } catch (CPPWebException& error) {
            error.addLocation(At(159));
            throw;
        } catch (...) {
            outcome.unexpectedFailure = true;
            throw CPPWebException(1, 1, At(163));
        }
    } catch (CPPWebException& error) {
        outcome.failed = true;
        if (!error.getErrorCodeMessage().empty()) {
            Messenger::Get().DisplayMessage(error.getErrorCodeMessage());
        } else {
            Messenger::Get().DisplayMessage(error.getErrorCode());
        }
    }
    return ran ? FinishRun(argc, argv, options, outcome) : 0;
}
