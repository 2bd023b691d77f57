#include "auditFileLoad.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <thread>
#include <utility>

#include "auditSupport.h"
#include "cppWebException.h"
#include "databaseDriver.h"
#include "fileTools.h"
#include "krlAssertError.h"
#include "messenger.h"
#include "parser.h"
#include "processingLocale.h"
#include "rdxSqlException.h"
#include "sqldbapi.h"
#include "stopRequest.h"
#include "tableAccess.h"

namespace {

// The first line of every audit file, without its line end.
std::string HeaderText() {
    std::string header = AuditSupport::kAuditFileHeader;
    while (!header.empty() && (header.back() == '\n' || header.back() == '\r')) {
        header.pop_back();
    }
    return header;
}

// A file that grew after its end was read, or that was written to within the
// settle time, may still be in the hands of its writer.
bool StillBeingWritten(const AuditLineReader& reader, int settleSeconds) {
    uint64_t size = 0;
    if (reader.CurrentSize(size) && size > reader.Offset()) {
        return true;
    }
    std::time_t modified = 0;
    return reader.LastModified(modified) && std::time(nullptr) - modified < settleSeconds;
}

// What the dump says of a batch run again statement by statement.
const char kReplayNote[] = "the batch below is run again statement by statement";

bool EndsPass(AuditLineReader::Status status) {
    return status == AuditLineReader::Status::kEnd || status == AuditLineReader::Status::kError;
}

}  // namespace

AuditFileLoad::AuditFileLoad(Parser& parser, std::string path)
    : m_parser(parser), m_db(parser.db), m_path(std::move(path)) {}

AuditFileLoad::End AuditFileLoad::Run() {
    m_parser.m_statistics.files.push_back(FileStatistics{m_path});
    m_parser.m_fileIndex = m_parser.m_statistics.files.size() - 1;
    for (;;) {
        switch (LoadOnce()) {
            case Pass::kSetAside:
                return End::kSetAside;
            case Pass::kPutBack:
                return End::kPutBack;
            case Pass::kAgain:
                break;  // from the file's progress, after a reconnection
        }
    }
}

AuditFileLoad::Pass AuditFileLoad::LoadOnce() {
    Statistics().outcome = FileOutcome::kSetAside;
    Pass pass = Pass::kSetAside;
    if (!ReadHead(pass)) {
        return pass;
    }
    LineOutcome stop = LineOutcome::Taken(0);
    try {
        if (!FindResumePoint()) {
            Statistics().outcome = FileOutcome::kLoaded;
            return Pass::kSetAside;
        }
        stop = LoadLines();
        if (stop.kind() != LineOutcome::Kind::kStopsFile) {
            return FinishLines();
        }
    } catch (const std::exception& error) {
        stop = StopsFileFor(error);
    }
    return StopFile(stop);
}

bool AuditFileLoad::ReadHead(Pass& pass) {
    Messenger& messenger = Messenger::Get();
    m_parser.lineState = Parser::kLineNone;
    m_reader = AuditLineReader();
    if (!m_reader.Open(m_path)) {
        // Left for a later run, as the message says: nothing of it was read.
        messenger.DisplayMessage(23, m_path);
        m_parser.fileDisposable = false;
        Statistics().outcome = FileOutcome::kSkipped;
        pass = Pass::kPutBack;
        return false;
    }
    m_parser.processingLocale.clear();
    GetProcessingLocaleSettings(m_parser.processingLocale);

    m_status = m_reader.Next(m_raw);
    if (EndsPass(m_status)) {
        messenger.DisplayMessage(24, m_path);
        m_parser.fileDisposable = false;
        return false;
    }
    m_parser.lineNumber = 1;
    m_parser.currentFile = m_path;
    // Exact, line end aside: a foreign file is set aside as done, never retried.
    const std::string header = HeaderText();
    if (m_status != AuditLineReader::Status::kLine || m_raw != header) {
        messenger.DisplayMessage(28, m_path);
        m_parser.fileDisposable = true;
        return false;
    }
    constexpr auto string_npos = std::string::npos;
    const std::string::size_type pos = Parser::ExtensionDotOf(m_path);
    KRL_ASSERT(string_npos != pos, "auditfileprocessor/source/parser", 224);
    m_resume = Parser::ResumeNumberOf(m_path);

    m_lineStart = m_reader.Offset();
    m_status = m_reader.Next(m_raw);
    if (EndsPass(m_status)) {
        messenger.DisplayMessage(24, m_path);
        m_parser.fileDisposable = false;
        return false;
    }
    m_parser.TokenizeLine(m_fields, m_raw);
    if (!m_parser.ParseVersion(m_fields)) {
        m_parser.fileDisposable = false;
        return false;
    }
    std::string head;
    if (!m_reader.ReadPrefix(LoadProgress::kDigestBytes, head)) {
        messenger.DisplayMessage(25, m_path);
        m_parser.fileDisposable = false;
        pass = Pass::kPutBack;
        return false;
    }
    m_identity = m_parser.m_progress.IdentityOf(m_path, head, header + "\n" + m_raw + "\n");
    return true;
}

bool AuditFileLoad::PlannedStart(std::string& start) {
    start.clear();
    Pass pass = Pass::kSetAside;
    if (!ReadHead(pass)) {
        return pass != Pass::kPutBack;
    }
    LoadProgress& progress = m_parser.m_progress;
    if (progress.IsAvailable()) {
        LoadProgress::Mark mark;
        m_db->startTransaction();
        const bool marked = progress.Find(m_db, m_identity, mark);
        m_db->commit(0);
        uint64_t size = 0;
        m_reader.CurrentSize(size);
        if (marked && mark.loaded && size == mark.offset) {
            start = "not again: it is loaded already and would only be set aside";
            return true;
        }
        if (marked && !mark.loaded && size >= mark.offset) {
            start = "from line " + std::to_string(mark.lastLine + 1) + " on, after its progress";
            return true;
        }
    }
    start = m_resume == 0 ? "from its first line"
                          : "from line " + std::to_string(m_resume) + " on, the number in its name";
    return true;
}

bool AuditFileLoad::FindResumePoint() {
    m_committedUsage.reset();
    m_txStartLine = 0;
    m_lastHandled = 0;
    m_nextLineOffset = m_reader.Offset();
    m_atEnd = false;
    m_readFailed = false;
    LoadProgress& progress = m_parser.m_progress;
    if (progress.IsAvailable()) {
        LoadProgress::Mark mark;
        m_db->startTransaction();
        const bool marked = progress.Find(m_db, m_identity, mark);
        m_parser.m_waitingUsage.Load(progress, m_db);
        m_db->commit(1);
        // A mark belongs to this very file only if the file still has the
        // size it had then (loaded) or at least reaches it (in progress);
        // otherwise a new file took an old name and head.
        uint64_t size = 0;
        m_reader.CurrentSize(size);
        if (marked && mark.loaded && size == mark.offset) {
            return false;  // loaded to its end by a run that ended before its rename
        }
        if (marked && !mark.loaded && size >= mark.offset) {
            m_resume = mark.lastLine + 1;
            // The lines replayed before the resume point must not change
            // what was committed with it: it is put back once they are read.
            m_committedUsage = m_parser.m_waitingUsage;
        }
    }
    m_parser.resumeReached = m_resume == 0;
    return true;
}

LineOutcome AuditFileLoad::LoadLines() {
    for (;;) {
        // Line m_resume is the first one not committed: it and every line
        // after it are written, each exactly once.
        if (!m_parser.resumeReached && m_parser.lineNumber >= m_resume) {
            ReachResumePoint();
        }
        if (m_atEnd || StopRequest::Requested()) {
            return LineOutcome::Taken(0);
        }
        if (m_parser.resumeReached && !m_db->isTransactionOpen()) {
            m_db->startTransaction(HoldsNextBatch());
            m_txStartLine = m_parser.lineNumber;
            m_batchRows = 0;
            if (m_db->isHolding()) {
                AskForBatchKeys();
            } else if (m_parser.lineNumber == m_replayAt && m_db->canHoldBatches()) {
                SQLDB::WriteToDump(TableAccess::kBookkeepingDumpPrefix + std::string(kReplayNote));
            }
        }
        const uint64_t afterLine = m_reader.Offset();
        LineOutcome outcome = LoadLineInHand();
        if (outcome.kind() == LineOutcome::Kind::kStopsFile) {
            return outcome;
        }
        m_lastHandled = m_parser.lineNumber;
        m_nextLineOffset = afterLine;
        if (!ReadNextLine()) {
            return LineOutcome::Taken(0);
        }
        if (AtBatchEnd() && m_db->isTransactionOpen()) {
            CommitBatch();
        }
    }
}

void AuditFileLoad::ReachResumePoint() {
    m_parser.resumeReached = true;
    if (m_committedUsage) {
        m_parser.m_waitingUsage = std::move(*m_committedUsage);
        m_committedUsage.reset();
    }
}

LineOutcome AuditFileLoad::LoadLineInHand() {
    if (!m_parser.resumeReached) {
        m_parser.ReplayLine(m_fields, m_status);
        return LineOutcome::Taken(0);
    }
    const bool held = m_db->isHolding();
    ++(held ? m_heldLinesRead : Statistics().linesRead);
    LineOutcome outcome = m_parser.HandleLine(m_fields, m_status);
    switch (outcome.kind()) {
        case LineOutcome::Kind::kTaken:
            m_batchRows += outcome.rowsWritten();
            break;
        case LineOutcome::Kind::kRefused:
            if (held) {
                m_heldRefusals.push_back(
                    {m_raw, outcome.cause(), m_parser.lineNumber, m_lineStart});
            } else {
                m_parser.RefuseLine(m_raw, m_parser.lineNumber, m_lineStart, outcome.cause());
            }
            break;
        case LineOutcome::Kind::kStopsFile:
            break;
    }
    return outcome;
}

bool AuditFileLoad::ReadNextLine() {
    m_lineStart = m_reader.Offset();
    m_status = m_reader.Next(m_raw);
    if (m_status == AuditLineReader::Status::kError) {
        Messenger::Get().DisplayMessage(25, m_path);
        m_parser.fileDisposable = true;
        m_readFailed = true;
        return false;
    }
    // A last line without a newline may still be in writing: it is counted
    // with its batch but never handled.
    m_atEnd = m_status == AuditLineReader::Status::kEnd ||
              m_status == AuditLineReader::Status::kUnterminatedLine;
    m_parser.TokenizeLine(m_fields, m_raw);
    ++m_parser.lineNumber;
    return true;
}

bool AuditFileLoad::AtBatchEnd() const {
    // No commit every N lines when N is 0: the file is then one transaction.
    const int rowCount = m_parser.options.transactionRowCount;
    return m_atEnd || (rowCount > 0 && m_parser.lineNumber % static_cast<uint32_t>(rowCount) == 0);
}

AuditFileLoad::Pass AuditFileLoad::FinishLines() {
    // A file that ends, or fails, before its resume point keeps what was committed.
    if (!m_parser.resumeReached) {
        ReachResumePoint();
    }
    Messenger& messenger = Messenger::Get();
    const bool progressKept = m_parser.m_progress.IsAvailable();
    if (!m_atEnd && !m_readFailed) {
        // A stop was requested: the open batch goes, the file stays.
        m_db->commit(0);
        const uint32_t resumeLine = m_txStartLine != 0 ? m_txStartLine : m_parser.lineNumber;
        if (!progressKept) {
            PutResumeLineInName(resumeLine);
        }
        messenger.DisplayMessageWithInserts(
            49, {StopRequest::SignalName(), std::to_string(resumeLine), m_path});
        Statistics().outcome = FileOutcome::kPutBack;
        m_parser.m_statistics.interrupted = true;
        return Pass::kPutBack;
    }
    // Open only when a read error ended the lines. Its failure is handled as
    // any other, so that the batch keeps its resume number.
    if (m_db->isTransactionOpen()) {
        CommitBatch();
    }
    if (!m_readFailed && StillBeingWritten(m_reader, m_parser.options.settleSeconds)) {
        // Loaded as far as it goes; the next run continues from here, and
        // sets it aside once it has stayed unchanged for the settle time.
        if (!progressKept) {
            PutResumeLineInName(m_lastHandled + 1);
        }
        messenger.DisplayMessageWithInserts(50, {m_path, std::to_string(m_lastHandled),
                                                 std::to_string(m_parser.options.settleSeconds)});
        Statistics().outcome = FileOutcome::kStillWritten;
        return Pass::kPutBack;
    }
    MarkFileLoaded();
    Statistics().outcome = FileOutcome::kLoaded;
    return Pass::kSetAside;
}

AuditFileLoad::Pass AuditFileLoad::StopFile(const LineOutcome& stop) {
    // A rollback never raises: the session drops the work when it disconnects anyway.
    m_db->commit(0);
    m_heldRefusals.clear();
    m_heldLinesRead = 0;
    if (stop.databaseStatus() == DatabaseDriver::kPredictionFailed) {
        // Statement by statement from the batch's first line, as if it had
        // never been held: its lines come out exactly as they always have.
        m_replayAt = m_txStartLine;
        return Pass::kAgain;
    }
    // The batch starts over from the file's progress: after a lost
    // connection once connected again, after a transaction the database
    // gave up (a deadlock with another loader) at once.
    const bool again =
        stop.databaseStatus() == DatabaseDriver::kConnectionFailed
            ? ReconnectAfterLoss(stop.cause())
            : stop.databaseStatus() == DatabaseDriver::kTransactionFailed && RetryBatch();
    if (again) {
        return Pass::kAgain;
    }
    Messenger& messenger = Messenger::Get();
    messenger.DisplayMessage(27, Parser::LineForMessage(m_raw), m_path);
    messenger.DisplayMessage(47, stop.cause());
    // Before the first batch of this run the name keeps what it says.
    PutResumeLineInName(m_txStartLine != 0 ? m_txStartLine : m_resume);
    Statistics().outcome = FileOutcome::kStopped;
    throw CPPWebException(2, 1, {"parser", 329, "Parser::Parse", "KRL_THROW"});
}

void AuditFileLoad::PutResumeLineInName(uint32_t line) {
    m_parser.AddLineToAuditFilename(m_path, line);
    const std::string resumeName = Parser::ResumeNameOf(m_path, line);
    if (resumeName != m_path && FileTools::FileExists(resumeName)) {
        Statistics().renamedTo = resumeName;
    }
}

LineOutcome AuditFileLoad::StopsFileFor(const std::exception& error) const {
    // The session's failures carry their own status; for any other the
    // session's last one tells whether the connection is still there.
    const auto* sessionFailure = dynamic_cast<const RDXSQLException*>(&error);
    const auto* failure = dynamic_cast<const CPPWebException*>(&error);
    std::string cause = failure != nullptr && !failure->getErrorCodeMessage().empty()
                            ? failure->getErrorCodeMessage()
                            : error.what();
    return LineOutcome::StopsFile(std::move(cause), sessionFailure != nullptr
                                                        ? sessionFailure->getStatus()
                                                        : m_db->lastStatus());
}

FileStatistics& AuditFileLoad::Statistics() {
    return m_parser.CurrentFileStatistics();
}

bool AuditFileLoad::HoldsNextBatch() const {
    return m_db->canHoldBatches() && m_parser.m_progress.IsAvailable() &&
           m_parser.options.transactionRowCount > 0 && m_parser.lineNumber != m_replayAt;
}

void AuditFileLoad::AskForBatchKeys() {
    // The batch's lines are read ahead by a reader of their own, so that the
    // lines themselves go through the one path whether held or not.
    if (!m_peekOpen || m_peek.Offset() > m_lineStart) {
        m_peek = AuditLineReader();
        m_peekOpen = m_peek.Open(m_path);
        if (!m_peekOpen) {
            return;  // only predictions are lost: the look-ups are asked one by one
        }
    }
    std::string raw;
    while (m_peek.Offset() < m_lineStart) {
        if (EndsPass(m_peek.Next(raw))) {
            return;
        }
    }
    const uint32_t rowCount = static_cast<uint32_t>(m_parser.options.transactionRowCount);
    const uint32_t lines = rowCount - m_parser.lineNumber % rowCount;
    std::vector<std::string> sessions;
    std::vector<std::string> fields;
    for (uint32_t i = 0; i < lines; ++i) {
        const AuditLineReader::Status status = m_peek.Next(raw);
        if (status != AuditLineReader::Status::kLine) {
            break;
        }
        m_parser.TokenizeLine(fields, raw);
        if (fields.size() > AuditSupport::session_id) {
            sessions.push_back(std::move(fields[AuditSupport::session_id]));
        }
    }
    std::sort(sessions.begin(), sessions.end());
    sessions.erase(std::unique(sessions.begin(), sessions.end()), sessions.end());
    TableAccess::LearnStoredSessions(
        m_db,
        {m_parser.TableFor(kSessionTable), m_parser.TableFor(kRequestTable),
         m_parser.TableFor(kUserSourceTable)},
        sessions);
}

void AuditFileLoad::CommitBatch() {
    LoadProgress& progress = m_parser.m_progress;
    if (progress.IsAvailable()) {
        progress.Record(m_db, m_identity, {m_lastHandled, m_nextLineOffset, false});
        m_parser.m_waitingUsage.Save(progress, m_db);
    }
    m_db->commit(1);
    Statistics().rowsWritten += m_batchRows;
    m_batchRows = 0;
    ReleaseHeldOutcomes();
}

void AuditFileLoad::ReleaseHeldOutcomes() {
    Statistics().linesRead += m_heldLinesRead;
    m_heldLinesRead = 0;
    for (const HeldRefusal& refusal : m_heldRefusals) {
        m_parser.RefuseLine(refusal.raw, refusal.line, refusal.offset, refusal.cause);
    }
    m_heldRefusals.clear();
}

void AuditFileLoad::MarkFileLoaded() {
    LoadProgress& progress = m_parser.m_progress;
    if (!progress.IsAvailable()) {
        return;
    }
    // The batches before went without waiting for the disk; this commit waits,
    // and with it every one before it is on the disk too.
    m_db->setDurableCommits(true);
    m_db->startTransaction();
    progress.Record(m_db, m_identity, {m_lastHandled, m_reader.Offset(), true});
    m_parser.m_waitingUsage.Save(progress, m_db);
    m_db->commit(1);
    m_db->setDurableCommits(false);
}

bool AuditFileLoad::RetryBatch() {
    // Without progress the file could only start over from its name's
    // number, and lines committed since would come again as duplicates.
    constexpr int kBatchRetries = 5;
    if (!m_parser.m_progress.IsAvailable() || m_batchRetries >= kBatchRetries) {
        return false;
    }
    ++m_batchRetries;
    // Two loaders that deadlocked would meet again at once: one waits longer.
    std::this_thread::sleep_for(std::chrono::milliseconds(20 * m_batchRetries + std::rand() % 50));
    return true;
}

bool AuditFileLoad::ReconnectAfterLoss(const std::string& reason) {
    // Only a server can come back; an embedded database that fails has a
    // disk or file problem that waiting does not mend.
    if (m_parser.options.dbType != "PG") {
        return false;
    }
    std::string cause = reason;
    while (m_reconnectAttempts < m_parser.options.connectRetries && !StopRequest::Requested()) {
        const int seconds = std::min(30, 1 << std::min(m_reconnectAttempts, 5));
        ++m_reconnectAttempts;
        Messenger::Get().DisplayMessage(57, cause, std::to_string(seconds));
        const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
        while (std::chrono::steady_clock::now() < until && !StopRequest::Requested()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        try {
            m_db->reconnect();
            if (m_parser.m_progress.IsAvailable()) {
                m_db->setDurableCommits(false);
            }
            return true;
        } catch (const std::exception& error) {
            cause = error.what();
        }
    }
    return false;
}
