// The request processor's information records: a request opens (REQINFO),
// succeeds (SUCC) or is dispatched again (REDISPATCH).
#include <string>
#include <vector>

#include "auditSupport.h"
#include "checkedLine.h"
#include "columnData.h"
#include "handlerSupport.h"
#include "krlAssertError.h"
#include "parser.h"
#include "requestTableAccess.h"

using AuditSupport::component_id;
using AuditSupport::msg_format;
using AuditSupport::request_id;
using AuditSupport::session_id;
using AuditSupport::time_stamp;

namespace {

// Positions in the detail list of a REQINFO message.
enum DetailPosition : std::size_t {
    source_name = 0,
    source_type = 1,
    source_filename = 2,
    mirrors = 3,
    message = 4,
};

// Splits the REQINFO message on every comma (empty pieces kept), trims double
// quotes from both ends of each piece, and writes an empty piece as "NULL".
std::vector<std::string> SplitRequestDetails(const std::string& text) {
    std::vector<std::string> details;
    std::string::size_type begin = 0;
    while (true) {
        const std::string::size_type comma = text.find(',', begin);
        const std::string::size_type end = comma == std::string::npos ? text.size() : comma;
        std::string piece = text.substr(begin, end - begin);
        const std::string::size_type first = piece.find_first_not_of('"');
        piece = first == std::string::npos
                    ? std::string()
                    : piece.substr(first, piece.find_last_not_of('"') - first + 1);
        details.push_back(piece.empty() ? ColumnData::kNull : piece);
        if (comma == std::string::npos) {
            return details;
        }
        begin = comma + 1;
    }
}

}  // namespace

bool Parser::ParseRequestInfo(const std::vector<std::string>& fields) {
    const CheckedLine line(fields);
    // clang-format off
    KRL_ASSERT(AuditSupport::GetComponent( AuditSupport::kQXRQ ) == line[ component_id ], "auditfileprocessor/source/parser", 559);
    // clang-format on
    if (!resumeReached) {
        return true;
    }

    const std::string& sessionId = line[session_id];
    const std::string& requestId = line[request_id];
    const std::string& format = line[msg_format];
    std::string stamp = line[time_stamp];
    FixupDateTime(stamp);

    if (format == AuditSupport::GetFormat(AuditSupport::kREQINFO)) {
        const handlerSupport::SessionRow session =
            handlerSupport::EnsureSessionRow(db, TableFor(kSessionTable), sessionId, 577);
        if (session == handlerSupport::SessionRow::kInsertFailed) {
            return false;
        }

        const std::vector<std::string> svDetails = SplitRequestDetails(line[AuditSupport::message]);
        if (svDetails.size() != message + 1) {
            Explain(format + " message has " + std::to_string(svDetails.size()) +
                    " parts, expected " + std::to_string(message + 1));
        }
        KRL_ASSERT(svDetails.size() == message + 1, "auditfileprocessor/source/parser", 604);

        if (!handlerSupport::WriteUserSource(
                db, TableFor(kUserSourceTable), sessionId, svDetails.at(source_name),
                svDetails.at(source_type), svDetails.at(source_filename),
                session == handlerSupport::SessionRow::kInserted, 619)) {
            return false;
        }

        RequestTableAccess request(TableFor(kRequestTable));
        request.m_sessionId.SetValue(sessionId);
        request.m_requestId.SetValue(requestId);
        const int count = request.Select(db);
        KRL_ASSERT(-1 != count, "auditfileprocessor/source/parser", 645);
        if (count <= 0) {
            handlerSupport::OpenRequestRow(
                request, sessionId, requestId, stamp, kTypeWeb,
                {m_server.machineName, m_server.machinePort, m_server.versionTimeStamp});
            request.m_mirrors.SetValue(svDetails.at(mirrors));
            return request.Insert(db);
        }
        // A remote request opened the row already: only the mirror list is new.
        if (svDetails.at(mirrors).empty()) {
            return true;
        }
        RequestTableAccess newValues(TableFor(kRequestTable));
        newValues.m_mirrors.SetValue(svDetails.at(mirrors));
        return request.Update(db, newValues);
    }

    if (format == AuditSupport::GetFormat(AuditSupport::kSUCC)) {
        return handlerSupport::CloseRequest(db, TableFor(kRequestTable), sessionId, requestId,
                                            stamp, kStatusSuccess, line[AuditSupport::message]);
    }

    if (format == AuditSupport::GetFormat(AuditSupport::kREDISPATCH)) {
        RequestTableAccess request(TableFor(kRequestTable));
        request.m_sessionId.SetValue(sessionId);
        request.m_requestId.SetValue(requestId);
        RequestTableAccess newValues(TableFor(kRequestTable));
        newValues.m_redispatch.SetValue("1");
        return request.Update(db, newValues);
    }

    Explain(UnknownFormat(format, "a request record"));
    KRL_ASSERT(FALSE, "auditfileprocessor/source/parser", 698);
    return false;
}
