// One line in hand. From the resume point on, its rows are kept or undone as
// a whole: a line that cannot be loaded for what it holds is refused alone,
// with its cause, and goes to the reject file; a failure of the database
// itself stops the file. Before the resume point the line is read with
// writing off, so that only what it leaves in memory counts.
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "databaseDriver.h"
#include "krlAssertError.h"
#include "messenger.h"
#include "parser.h"
#include "rdxSqlException.h"
#include "sqldbapi.h"

namespace {

constexpr size_t kLineShownBytes = 1000;

std::string AssertionCause(const KRLAssertError& error) {
    std::string cause = "the line does not have the form its record needs (";
    cause += error.what();
    if (!error.getBackTrace().empty()) {
        const ExceptionLocation& where = error.getBackTrace().front();
        cause += " at " + where.file + ":" + std::to_string(where.line);
    }
    return cause + ")";
}

}  // namespace

std::string Parser::LineForMessage(const std::string& raw) {
    if (raw.size() <= kLineShownBytes) {
        return raw;
    }
    return raw.substr(0, kLineShownBytes) + "... (" + std::to_string(raw.size()) + " bytes)";
}

void Parser::HandleLine(const std::string& raw, std::vector<std::string>& fields,
                        AuditLineReader::Status status) {
    const bool tooLong = status == AuditLineReader::Status::kTooLong;
    if (!resumeReached) {
        // Committed by an earlier run: whatever it did then, it writes nothing
        // now and says nothing.
        try {
            if (!tooLong) {
                ParseLine(fields);
            }
        } catch (const std::bad_alloc&) {
            throw;
        } catch (...) {
        }
        return;
    }
    ++CurrentFileStatistics().linesRead;
    if (tooLong) {
        RefuseLine(raw, "the line is longer than " +
                            std::to_string(AuditLineReader::kMaxLineBytes) + " bytes");
        return;
    }
    m_refusalCause.clear();
    db->beginLine();
    bool taken = false;
    std::string cause;
    try {
        taken = ParseLine(fields);
    } catch (const RDXSQLException&) {
        throw;  // the session's own failures stop the file
    } catch (const KRLAssertError& error) {
        cause = AssertionCause(error);
    } catch (const CPPWebException& error) {
        cause = error.getErrorCodeMessage().empty() ? error.what() : error.getErrorCodeMessage();
    } catch (const std::out_of_range&) {
        cause = "the line has too few fields for its record";
    }
    if (db->lineFailureStatus() <= DatabaseDriver::kTransactionFailed) {
        throw RDXSQLException(
            db->lineFailureText(), db->lineFailureStatus(),
            {"auditfileprocessor/source/parser", __LINE__, "Parser::HandleLine", "KRL_THROW"});
    }
    db->endLine(taken && cause.empty());
    if (taken && cause.empty()) {
        m_batchRows += db->lineWrites();
        return;
    }
    // The database's reason names the value; the others say what the line lacks.
    if (!db->lineFailureText().empty()) {
        cause = db->lineFailureText();
    } else if (cause.empty()) {
        cause = m_refusalCause.empty() ? "no record of this kind can be loaded from it"
                                       : m_refusalCause;
    }
    RefuseLine(raw, cause);
}

void Parser::RefuseLine(const std::string& raw, const std::string& cause) {
    ++CurrentFileStatistics().linesRefused;
    Messenger& messenger = Messenger::Get();
    messenger.DisplayMessage(26, LineForMessage(raw), currentFile);
    messenger.DisplayMessage(51, cause);
    std::string reason;
    if (!m_rejects.Append(currentFile, lineNumber, cause, raw, reason) && !m_rejectFileFailed) {
        m_rejectFileFailed = true;
        messenger.DisplayMessage(56, m_rejects.path(), reason);
    }
}
