// The load of one audit file: header and version line, then every line in
// batches of one transaction each, with the file's progress committed in the
// same transaction as its rows. Lines that an earlier run committed are read
// again with writing off, so that what they leave in memory is rebuilt. A
// line that cannot be loaded is refused on its own; an error of the database
// or of the system stops the file, which keeps its resume point.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <exception>
#include <string>
#include <vector>

#include "auditSupport.h"
#include "cppWebException.h"
#include "databaseDriver.h"
#include "krlAssertError.h"
#include "messenger.h"
#include "parser.h"
#include "processingLocale.h"
#include "rdxSqlException.h"
#include "sqldbapi.h"
#include "stopRequest.h"

namespace {

// The first line of every audit file, without its line end.
std::string HeaderText() {
    std::string header = AuditSupport::kAuditFileHeader;
    while (!header.empty() && (header.back() == '\n' || header.back() == '\r')) {
        header.pop_back();
    }
    return header;
}

// Why loading stopped, in the exception's own words.
std::string CauseOf(const std::exception_ptr& caught) {
    try {
        std::rethrow_exception(caught);
    } catch (const CPPWebException& error) {
        return error.getErrorCodeMessage().empty() ? error.what() : error.getErrorCodeMessage();
    } catch (const std::exception& error) {
        return error.what();
    } catch (...) {
        return "unknown exception";
    }
}

// The database status behind an exception: its own for the session's
// failures, otherwise the session's last one.
int StatusOf(const std::exception_ptr& caught, int lastStatus) {
    try {
        std::rethrow_exception(caught);
    } catch (const RDXSQLException& error) {
        return error.getStatus();
    } catch (...) {
        return lastStatus;
    }
}

// A file that grew after its end was read, or whose last line was cut off a
// moment ago, is still in the hands of its writer.
bool StillBeingWritten(const AuditLineReader& reader, AuditLineReader::Status lastStatus) {
    uint64_t size = 0;
    if (reader.CurrentSize(size) && size > reader.Offset()) {
        return true;
    }
    if (lastStatus != AuditLineReader::Status::kUnterminatedLine) {
        return false;
    }
    constexpr std::time_t kWritingSeconds = 60;
    std::time_t modified = 0;
    return reader.LastModified(modified) && std::time(nullptr) - modified < kWritingSeconds;
}

}  // namespace

std::string::size_type Parser::ExtensionDotOf(const std::string& path) {
    const std::string::size_type slash = path.rfind('/');
    const std::string::size_type nameStart = slash == std::string::npos ? 0 : slash + 1;
    const std::string::size_type dot = path.rfind('.');
    if (dot == std::string::npos || dot < nameStart) {
        return std::string::npos;
    }
    return dot;
}

uint32_t Parser::ResumeNumberOf(const std::string& path) {
    const std::string::size_type dot = ExtensionDotOf(path);
    if (dot == std::string::npos || dot == 0) {
        return 0;
    }
    const std::string::size_type slash = path.rfind('/');
    const std::string::size_type nameStart = slash == std::string::npos ? 0 : slash + 1;
    const std::string::size_type numberDot = path.rfind('.', dot - 1);
    if (numberDot == std::string::npos || numberDot < nameStart || numberDot + 1 == dot) {
        return 0;
    }
    uint64_t value = 0;
    for (std::string::size_type i = numberDot + 1; i < dot; ++i) {
        const char c = path[i];
        if (c < '0' || c > '9') {
            return 0;
        }
        value = value * 10 + static_cast<uint64_t>(c - '0');
        if (value > UINT32_MAX) {
            return 0;
        }
    }
    return static_cast<uint32_t>(value);
}

void Parser::AddLineToAuditFilename(const std::string& path, unsigned long line) const {
    constexpr auto string_npos = std::string::npos;
    const std::string::size_type pos = ExtensionDotOf(path);
    KRL_ASSERT(string_npos != pos, "auditfileprocessor/source/parser", 1353);
    if (ResumeNumberOf(path) == line) {
        return;
    }
    // Any earlier number stays in the name; the last one is the one read back.
    const std::string resumeName = path.substr(0, pos) + "." + std::to_string(line) + kAuditFileExt;
    if (std::rename(path.c_str(), resumeName.c_str()) != 0) {
        Messenger::Get().DisplayMessage(21, path);
    }
}

void Parser::Parse(const std::string& path) {
    Messenger& messenger = Messenger::Get();
    if (m_fileEnd != FileEnd::kRetry) {
        m_statistics.files.push_back(FileStatistics{path});
        m_fileIndex = m_statistics.files.size() - 1;
    }
    FileStatistics& statistics = CurrentFileStatistics();
    statistics.outcome = FileOutcome::kSetAside;
    m_fileEnd = FileEnd::kSetAside;
    lineState = kLineNone;

    AuditLineReader reader;
    if (!reader.Open(path)) {
        // Left for a later run, as the message says: nothing of it was read.
        messenger.DisplayMessage(23, path);
        fileDisposable = false;
        statistics.outcome = FileOutcome::kSkipped;
        m_fileEnd = FileEnd::kPutBack;
        return;
    }
    processingLocale.clear();
    GetProcessingLocaleSettings(processingLocale);

    std::string raw;
    AuditLineReader::Status status = reader.Next(raw);
    if (status == AuditLineReader::Status::kEnd || status == AuditLineReader::Status::kError) {
        messenger.DisplayMessage(24, path);
        fileDisposable = false;
        return;
    }
    lineNumber = 1;
    currentFile = path;
    // Exact, line end aside: a foreign file is set aside as done, never retried.
    const std::string header = HeaderText();
    if (status != AuditLineReader::Status::kLine || raw != header) {
        messenger.DisplayMessage(28, path);
        fileDisposable = true;
        return;
    }

    constexpr auto string_npos = std::string::npos;
    const std::string::size_type pos = ExtensionDotOf(path);
    KRL_ASSERT(string_npos != pos, "auditfileprocessor/source/parser", 224);
    uint32_t resume = ResumeNumberOf(path);

    status = reader.Next(raw);
    if (status == AuditLineReader::Status::kEnd || status == AuditLineReader::Status::kError) {
        messenger.DisplayMessage(24, path);
        fileDisposable = false;
        return;
    }
    std::vector<std::string> fields;
    TokenizeLine(fields, raw);
    if (!ParseVersion(fields)) {
        fileDisposable = false;
        return;
    }
    m_fileIdentity = LoadProgress::IdentityOf(path, header + "\n" + raw + "\n");

    // No commit every N lines when N is 0: the file is then one transaction.
    const uint32_t rowCount =
        options.transactionRowCount > 0 ? static_cast<uint32_t>(options.transactionRowCount) : 0;
    // Where the open transaction began: the resume number if it is rolled back.
    uint32_t txStartLine = 0;
    // The last line handled, and where the line after it begins.
    uint32_t lastHandled = 0;
    uint64_t nextLineOffset = reader.Offset();
    bool atEnd = false;
    bool readFailed = false;
    try {
        if (m_progress.IsAvailable()) {
            LoadProgress::Mark mark;
            db->startTransaction();
            const bool marked = m_progress.Find(db, m_fileIdentity, mark);
            m_progress.LoadWaitingUsage(db, usageCodesByRequest, usageNamesByRequest);
            db->commit(1);
            m_changedUsageKeys.clear();
            // A mark belongs to this very file only if the file still has
            // the size it had then (loaded) or at least reaches it (in progress);
            // otherwise a new file took an old name and head.
            uint64_t size = 0;
            reader.CurrentSize(size);
            if (marked && mark.loaded && size == mark.offset) {
                // Loaded to its end by a run that ended before its rename.
                statistics.outcome = FileOutcome::kLoaded;
                return;
            }
            if (marked && !mark.loaded && size >= mark.offset) {
                resume = mark.lastLine + 1;
            }
        }
        resumeReached = resume == 0;

        for (;;) {
            // Line `resume` is the first one not committed: it and every line
            // after it are written, each exactly once.
            if (!resumeReached && lineNumber >= resume) {
                resumeReached = true;
            }
            if (atEnd) {
                break;
            }
            if (StopRequest::Requested()) {
                break;
            }
            if (resumeReached && !db->isTransactionOpen()) {
                db->startTransaction();
                txStartLine = lineNumber;
                m_batchRows = 0;
            }
            const uint64_t afterLine = reader.Offset();
            HandleLine(raw, fields, status);
            lastHandled = lineNumber;
            nextLineOffset = afterLine;

            status = reader.Next(raw);
            if (status == AuditLineReader::Status::kError) {
                messenger.DisplayMessage(25, path);
                fileDisposable = true;
                readFailed = true;
                break;
            }
            // A last line without a newline may still be in writing: it is
            // counted with its batch but never handled.
            atEnd = status == AuditLineReader::Status::kEnd ||
                    status == AuditLineReader::Status::kUnterminatedLine;
            TokenizeLine(fields, raw);
            ++lineNumber;
            if (!atEnd && (rowCount == 0 || lineNumber % rowCount != 0)) {
                continue;
            }
            if (db->isTransactionOpen()) {
                CommitBatch(lastHandled, nextLineOffset);
            }
        }

        if (!atEnd && !readFailed) {
            // A stop was requested: the open batch goes, the file stays.
            db->commit(0);
            const uint32_t resumeLine = txStartLine != 0 ? txStartLine : lineNumber;
            if (!m_progress.IsAvailable()) {
                AddLineToAuditFilename(path, resumeLine);
            }
            messenger.DisplayMessageWithInserts(
                49, {StopRequest::SignalName(), std::to_string(resumeLine), path});
            statistics.outcome = FileOutcome::kPutBack;
            m_statistics.interrupted = true;
            m_fileEnd = FileEnd::kPutBack;
            return;
        }
        // Open only when a read error ended the loop. Its failure is handled as
        // any other, so that the batch keeps its resume number.
        if (db->isTransactionOpen()) {
            CommitBatch(lastHandled, nextLineOffset);
        }
        if (!readFailed && StillBeingWritten(reader, status)) {
            // Its writer still appends to it: continue from here next time.
            if (!m_progress.IsAvailable()) {
                AddLineToAuditFilename(path, lastHandled + 1);
            }
            messenger.DisplayMessage(50, path, std::to_string(lastHandled));
            statistics.outcome = FileOutcome::kPutBack;
            m_fileEnd = FileEnd::kPutBack;
            return;
        }
        MarkFileLoaded(lastHandled, reader.Offset());
        statistics.outcome = FileOutcome::kLoaded;
    } catch (...) {
        const std::string cause = CauseOf(std::current_exception());
        const int dbStatus = StatusOf(std::current_exception(), db->lastStatus());
        if (db->isTransactionOpen()) {
            // A failing rollback must not keep the resume number out of the
            // name; the session drops the work when it disconnects anyway.
            try {
                db->commit(0);
            } catch (...) {
            }
        }
        // The batch starts over from the file's progress: after a lost
        // connection once connected again, after a transaction the database
        // gave up (a deadlock with another loader) at once.
        const bool again = dbStatus == DatabaseDriver::kConnectionFailed
                               ? ReconnectAfterLoss(cause)
                               : dbStatus == DatabaseDriver::kTransactionFailed && RetryBatch();
        if (again) {
            m_fileEnd = FileEnd::kRetry;
            return;
        }
        messenger.DisplayMessage(27, LineForMessage(raw), path);
        messenger.DisplayMessage(47, cause);
        // Before the first batch of this run the name keeps what it says.
        AddLineToAuditFilename(path, txStartLine != 0 ? txStartLine : resume);
        statistics.outcome = FileOutcome::kStopped;
        m_fileEnd = FileEnd::kPutBack;
        throw CPPWebException(2, 1, {"parser", 329, "Parser::Parse", "KRL_THROW"});
    }
}
