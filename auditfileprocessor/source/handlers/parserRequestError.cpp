// The request processor's error records: a request failed (REQFAILE), perhaps
// before it was ever opened, or the result of a known request failed (RESFAILE).
#include <string>
#include <vector>

#include "auditSupport.h"
#include "checkedLine.h"
#include "handlerSupport.h"
#include "krlAssertError.h"
#include "parser.h"
#include "requestTableAccess.h"

using AuditSupport::message;
using AuditSupport::msg_format;
using AuditSupport::request_id;
using AuditSupport::session_id;
using AuditSupport::time_stamp;

namespace {
// The session identifier of a failure that belongs to no session.
const char kNoSession[] = "-";
}  // namespace

bool Parser::ParseRequestError(const std::vector<std::string>& fields) {
    const CheckedLine line(fields);
    if (!resumeReached) {
        return true;
    }

    const std::string& sessionId = line[session_id];
    const std::string& requestId = line[request_id];
    const std::string& format = line[msg_format];
    std::string stamp = line[time_stamp];
    FixupDateTime(stamp);

    if (format == AuditSupport::GetFormat(AuditSupport::kREQFAILE)) {
        if (sessionId == kNoSession) {
            return true;
        }
        if (handlerSupport::EnsureSessionRow(db, TableFor(kSessionTable), sessionId, 830) ==
            handlerSupport::SessionRow::kInsertFailed) {
            return false;
        }

        RequestTableAccess request(TableFor(kRequestTable));
        request.m_sessionId.SetValue(sessionId);
        request.m_requestId.SetValue(requestId);
        const int count = request.Select(db);
        KRL_ASSERT(-1 != count, "auditfileprocessor/source/parser", 848);
        if (count <= 0) {
            // Never opened: the failed request starts and ends at the same moment.
            handlerSupport::OpenRequestRow(
                request, sessionId, requestId, stamp, kTypeWeb,
                {m_server.machineName, m_server.machinePort, m_server.versionTimeStamp});
            request.m_endDateTime.SetValue(stamp);
            request.m_requestStatus.SetValue(kStatusFail);
            request.m_message.SetValue(line[message]);
            return request.Insert(db);
        }
        return handlerSupport::CloseRequest(db, TableFor(kRequestTable), sessionId, requestId,
                                            stamp, kStatusFail, line[message]);
    }

    if (format == AuditSupport::GetFormat(AuditSupport::kRESFAILE)) {
        return handlerSupport::CloseRequest(db, TableFor(kRequestTable), sessionId, requestId,
                                            stamp, kStatusFail, line[message]);
    }

    // Other error formats of the request processor are not recorded.
    return false;
}
