// One line in hand. From the resume point on, its rows are kept or undone as
// a whole: a line that cannot be loaded for what it holds is refused alone,
// with its cause; a failure of the database itself stops the file. Before
// the resume point the line is read with writing off, so that only what it
// leaves in memory counts.
#include <new>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "auditSupport.h"
#include "krlAssertError.h"
#include "messenger.h"
#include "parser.h"
#include "rdxSqlException.h"
#include "sqldbapi.h"

namespace {

constexpr size_t kLineShownBytes = 1000;

// What was wrong in plain words when the handler said so, then the
// assertion and where it failed, for developers.
std::string AssertionCause(const KRLAssertError& error, const std::string& explained) {
    std::string assertion = error.what();
    if (!error.getBackTrace().empty()) {
        const ExceptionLocation& where = error.getBackTrace().front();
        assertion += " at " + where.file + ":" + std::to_string(where.line);
    }
    if (!explained.empty()) {
        return explained + " [" + assertion + "]";
    }
    return "the line does not have the form its record needs (" + assertion + ")";
}

std::string TextOf(const CPPWebException& error) {
    return error.getErrorCodeMessage().empty() ? error.what() : error.getErrorCodeMessage();
}

}  // namespace

std::string Parser::LineForMessage(const std::string& raw) {
    if (raw.size() <= kLineShownBytes) {
        return raw;
    }
    return raw.substr(0, kLineShownBytes) + "... (" + std::to_string(raw.size()) + " bytes)";
}

FileStatistics& Parser::CurrentFileStatistics() {
    return m_statistics.files.at(m_fileIndex);
}

bool Parser::Refuse(std::string cause) {
    m_lineRefusal = std::move(cause);
    return false;
}

void Parser::Explain(std::string cause) {
    m_lineRefusal = std::move(cause);
}

std::string Parser::UnknownFormat(const std::string& format, const char* record) {
    return "unknown format \"" + format + "\" in field " +
           std::to_string(AuditSupport::msg_format + 1) + " of " + record;
}

void Parser::ReplayLine(std::vector<std::string>& fields, AuditLineReader::Status status) {
    if (status == AuditLineReader::Status::kTooLong) {
        return;
    }
    // Committed by an earlier run: whatever it did then, it writes nothing
    // now and says nothing.
    try {
        ParseLine(fields);
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception&) {
    }
    m_lineRefusal.clear();
}

LineOutcome Parser::HandleLine(std::vector<std::string>& fields, AuditLineReader::Status status) {
    if (status == AuditLineReader::Status::kTooLong) {
        return LineOutcome::Refused("the line is longer than " +
                                    std::to_string(AuditLineReader::kMaxLineBytes) + " bytes");
    }
    m_lineRefusal.clear();
    db->beginLine();
    bool taken = false;
    std::string cause;
    try {
        taken = ParseLine(fields);
    } catch (const RDXSQLException& error) {
        // The session's own failures stop the file; the batch goes with the line.
        m_lineRefusal.clear();
        return LineOutcome::StopsFile(TextOf(error), error.getStatus());
    } catch (const KRLAssertError& error) {
        cause = AssertionCause(error, m_lineRefusal);
    } catch (const CPPWebException& error) {
        cause = TextOf(error);
    } catch (const std::out_of_range&) {
        cause = "the line has too few fields for its record";
    }
    const std::string refusal = std::exchange(m_lineRefusal, std::string());
    const bool keep = taken && cause.empty();
    const SQLDB::LineResult rows = db->endLine(keep);
    if (rows.stopsFile) {
        return LineOutcome::StopsFile(rows.failureText, rows.failureStatus);
    }
    if (keep) {
        return LineOutcome::Taken(rows.writes);
    }
    // The database's reason names the value; the others say what the line lacks.
    if (!rows.failureText.empty()) {
        return LineOutcome::Refused(rows.failureText);
    }
    if (!cause.empty()) {
        return LineOutcome::Refused(cause);
    }
    return LineOutcome::Refused(refusal.empty() ? "no record of this kind can be loaded from it"
                                                : refusal);
}

void Parser::RefuseLine(const std::string& raw, uint32_t line, uint64_t offset,
                        const std::string& cause) {
    ++CurrentFileStatistics().linesRefused;
    Messenger& messenger = Messenger::Get();
    messenger.DisplayMessage(26, LineForMessage(raw), currentFile);
    messenger.DisplayMessage(51, cause);
    std::string reason;
    // Counted as grep -n counts: the header, which the parser does not count, is line 1.
    const RejectFile::Position where{uint64_t{line} + 1, offset};
    if (!m_rejects.Append(currentFile, where, cause, raw, reason) && !m_rejectFileFailed) {
        m_rejectFileFailed = true;
        messenger.DisplayMessage(56, m_rejects.path(), reason);
    }
}
