// The life of one run: find the program directory, set up the locale and the
// message catalogue, read the command line, check the outputs, then connect
// and load every audit file. Every failure ends in one outer handler that
// shows one message. A run that connected ends with its summary message; the
// run reports are written last. The exit status is 0 unless "-exitstatus
// detailed" asks for one that tells how the run went.
#include <csignal>
#include <cstdio>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <utility>

#include "afpOptions.h"
#include "atomicFile.h"
#include "commandLine.h"
#include "cppWebException.h"
#include "dataAccessLayer.h"
#include "directoryLister.h"
#include "exitStatus.h"
#include "failedOutputs.h"
#include "messenger.h"
#include "metricsReport.h"
#include "noFollowFile.h"
#include "parser.h"
#include "passwordMask.h"
#include "processingLocale.h"
#include "programDirectory.h"
#include "programGlobals.h"
#include "qxMessage.h"
#include "rdxSqlException.h"
#include "runOutcome.h"
#include "runReport.h"
#include "sqlDumpFile.h"
#include "sqldbapi.h"
#include "stopRequest.h"

namespace {

const char kSourceFile[] = "afpmain";
const char kFunction[] = "qxesauditfileprocessor::main";
const char kVersion[] = AFP_VERSION;
const char kSqlDump[] = "SQL dump";
const char kRunReport[] = "run report";
const char kMetricsFile[] = "metrics file";
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

void ShowDumpFailure(const std::string& path, const std::string& reason) {
    Messenger::Get().DisplayMessage(66, path, reason);
}

// An output that cannot be used stops the run before anything is loaded: the
// dump is the record of every statement that the administrator asked for,
// which the loaded files, once renamed, cannot give again; a report path
// would only fail at the end, after the work.
void CheckRunReportPath(const std::string& path, const char* kind) {
    std::string reason;
    if (!path.empty() && !AtomicFile::CanReplace(path, reason)) {
        FailedOutputs::Record(kind, path);
        throw CPPWebException(Messenger::Compose(67, {path, kind, reason}), 1, At(__LINE__));
    }
}

// The dump is created private to its owner (it holds audit values); a
// symbolic link is refused: following it would truncate what it points to.
void OpenSqlDumpFile(const std::string& path) {
    if (path.empty() || g_SQLDumpFile != nullptr) {
        return;
    }
    std::string reason;
    bool isLink = false;
    FILE* stream =
        NoFollowFile::Open(path, NoFollowFile::kTruncate, NoFollowFile::kOwnerOnly, reason, isLink);
    if (stream == nullptr) {
        FailedOutputs::Record(kSqlDump, path);
        if (isLink) {
            Messenger::Get().DisplayMessage(55, path, kSqlDump);
        }
        throw CPPWebException(Messenger::Compose(64, {path, reason}), 1, At(__LINE__));
    }
    // The dump is pushed out at transaction boundaries; a large buffer spares
    // the many small writes of the default one in between.
    // (The C library only honours the size of a buffer it is given.)
    static char buffer[kDumpBufferBytes];
    std::setvbuf(stream, buffer, _IOFBF, sizeof buffer);
    SqlDumpFile::Start(stream, path, ShowDumpFailure);
}

// No password is kept in the dump: not -dbpass, not the file's, not one
// written inside the connection text.
void WriteConnectionToDump(const AFPOptions& options, const std::string& description) {
    SqlDumpFile::Write(options.dbName + "\t" + PasswordMask::Masked(options.dbConnect) + "\t" +
                       options.dbUser + "\t" + PasswordMask::kMask + "\t" + options.dbType + "\n" +
                       description + "\n");
    // The session's setting that decides what its statements mean, so that a
    // replay into a database whose default differs stores the same values.
    if (options.dbType == "PG") {
        SQLDB::WriteToDump("SET standard_conforming_strings TO on");
    }
    SqlDumpFile::Flush();
}

// The database's own reason, which follows the fixed sentence of the failure.
std::string ConnectionCause(const RDXSQLException& error) {
    const std::string& text = error.getErrorCodeMessage();
    const size_t reason = text.find(". ");
    return reason == std::string::npos ? "status " + std::to_string(error.getStatus())
                                       : text.substr(reason + 2);
}

std::string Connect(SQLDB& db, const AFPOptions& options) {
    try {
        return db.connect(options.dbName, options.dbConnect, options.dbType, options.dbUser,
                          options.dbPassword);
    } catch (const RDXSQLException& error) {
        // The fixed text first, as ever; then a numbered message for those
        // who watch the log for numbers.
        Messenger::Get().DisplayMessage(error.getErrorCodeMessage());
        throw CPPWebException(Messenger::Compose(68, {options.dbName, ConnectionCause(error)}), 1,
                              At(__LINE__));
    }
}

void LoadAuditFiles(const AFPOptions& options, RunOutcome& outcome) {
    // From here on SIGTERM and SIGINT end the run at the next line, cleanly.
    const StopRequest::Guard stopOnSignal;
    outcome.stage = RunStage::kCheckingOutputs;
    CheckRunReportPath(options.reportFile, kRunReport);
    CheckRunReportPath(options.metricsFile, kMetricsFile);
    OpenSqlDumpFile(options.sqlDumpFile);
    outcome.stage = RunStage::kConnecting;
    if (rdxProcessInitialize(kProgramName) < 0) {
        throw CPPWebException(37, 1, At(112));
    }
    auto db = std::make_unique<SQLDB>();
    db->setLockWaitSeconds(options.lockWaitSeconds);
    const std::string description = Connect(*db, options);
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

// "-check": every output path as a run would take it, but nothing created.
void CheckOutputs(const AFPOptions& options) {
    const std::pair<const std::string*, const char*> files[] = {
        {&options.sqlDumpFile, kSqlDump},
        {&options.errorLogFile, "error log"},
        {&options.rejectFile, "reject file"},
    };
    for (const auto& file : files) {
        std::string reason;
        if (!file.first->empty() &&
            !NoFollowFile::CheckUsable(*file.first, NoFollowFile::kGroupMayRead, reason)) {
            FailedOutputs::Record(file.second, *file.first);
            Messenger::Get().DisplayMessage(77, std::string(file.second) + " " + *file.first,
                                            reason);
        }
    }
    for (const auto& report : {std::make_pair(&options.reportFile, kRunReport),
                               std::make_pair(&options.metricsFile, kMetricsFile)}) {
        std::string reason;
        if (!report.first->empty() && !AtomicFile::CanReplace(*report.first, reason)) {
            FailedOutputs::Record(report.second, *report.first);
            Messenger::Get().DisplayMessage(77, std::string(report.second) + " " + *report.first,
                                            reason);
        }
    }
}

// "-check": the set-up as a run would meet it, with nothing changed: the
// outputs, the connection and the audit tables, the bookkeeping, the audit
// directory and where a run would begin to load each of its files.
void CheckSetUp(const AFPOptions& options, RunOutcome& outcome) {
    outcome.stage = RunStage::kCheckingOutputs;
    CheckOutputs(options);
    outcome.stage = RunStage::kConnecting;
    if (rdxProcessInitialize(kProgramName) < 0) {
        throw CPPWebException(37, 1, At(__LINE__));
    }
    SQLDB db;
    db.setLockWaitSeconds(options.lockWaitSeconds);
    Connect(db, options);
    outcome.stage = RunStage::kConnected;
    Parser parser(options, &db, std::string(g_pgm_dir));  // describes the audit tables
    outcome.stage = RunStage::kLoading;
    const Parser::SetUpCheck check = parser.CheckDir();
    const size_t outputProblems = FailedOutputs::List().size();
    Messenger::Get().DisplayMessage(78, std::to_string(check.problems + outputProblems),
                                    std::to_string(check.filesToLoad));
    outcome.failed = !check.directoryUsable;
    outcome.auditDirectoryMissing = !check.directoryUsable;
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
    const bool accepted = ProcessCommandLine(argc, argv, &options);
    HidePasswordArguments(argc, argv);
    if (!accepted) {
        throw CPPWebException(8, 1, At(105));
    }
    if (options.checkOnly) {
        // A check speaks on standard output and writes no file.
        outcome.checkOnly = true;
        CheckSetUp(options, outcome);
        return true;
    }
    Messenger::m_sErrorLogFileName = options.errorLogFile;
    LoadAuditFiles(options, outcome);
    return true;
}

// A report path refused at the start is not tried again.
void WriteRunReport(const std::string& path, const char* kind, const std::string& content) {
    std::string reason;
    if (!path.empty() && !FailedOutputs::Contains(kind, path) &&
        !AtomicFile::Write(path, content, reason)) {
        FailedOutputs::Record(kind, path);
        Messenger::Get().DisplayMessageWithInserts(61, {path, reason, kind});
    }
}

// The one message that ends every run that reached the database.
void ShowSummary(const RunOutcome& outcome) {
    // The summary belongs to no audit file: no banner before it.
    Messenger::m_sAuditLogFileName.clear();
    Messenger::m_isParsingNewLog = false;
    const RunStatistics& statistics = outcome.statistics;
    Messenger::Get().DisplayMessageWithInserts(
        58, {outcome.ElapsedSecondsText(), std::to_string(statistics.Count(FileOutcome::kLoaded)),
             std::to_string(statistics.Count(FileOutcome::kSetAside)),
             std::to_string(statistics.Count(FileOutcome::kStopped) +
                            statistics.Count(FileOutcome::kPutBack)),
             std::to_string(statistics.LinesRead()), std::to_string(statistics.LinesRefused()),
             std::to_string(statistics.RowsWritten()),
             std::to_string(statistics.Count(FileOutcome::kStillWritten)),
             std::to_string(statistics.Count(FileOutcome::kWaiting)),
             RunOutcome::LocalText(outcome.endTime)});
}

// The summary, the run reports and the exit status, once the run has ended
// however it ended.
int FinishRun(int argc, char** argv, const AFPOptions& options, RunOutcome& outcome) {
    SqlDumpFile::Close();
    outcome.Finish();
    if (outcome.checkOnly) {
        outcome.failedOutputs = FailedOutputs::List();
        return ExitStatus::Of(outcome);
    }
    if (outcome.Connected()) {
        ShowSummary(outcome);
    }
    // Existing schedules rely on 0 whatever happened; the detailed status is asked for.
    const bool detailed = options.detailedExitStatus || DetailedExitStatusRequested(argc, argv);
    outcome.failedOutputs = FailedOutputs::List();
    const int status = ExitStatus::Of(outcome);
    WriteRunReport(options.reportFile, kRunReport,
                   RunReport(outcome, kVersion, status, detailed ? status : 0).Json());
    if (!options.metricsFile.empty()) {
        outcome.MeasureBacklog(options.auditLocation);
        std::ostringstream previous;
        previous << std::ifstream(options.metricsFile).rdbuf();
        WriteRunReport(options.metricsFile, kMetricsFile,
                       MetricsReport(outcome, kVersion, status, previous.str()).Text());
    }
    // Both reports tell the same status; only the exit status also counts a
    // report that could not be written.
    outcome.failedOutputs = FailedOutputs::List();
    return detailed ? ExitStatus::Of(outcome) : 0;
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
