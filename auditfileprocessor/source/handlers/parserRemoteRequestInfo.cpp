// The data server's records of requests that came from another server: a
// remote request opens (REMOTE) or succeeds (SUCC).
#include <string>
#include <vector>

#include "auditSupport.h"
#include "checkedLine.h"
#include "handlerSupport.h"
#include "krlAssertError.h"
#include "parser.h"
#include "requestTableAccess.h"

using AuditSupport::component_id;
using AuditSupport::message;
using AuditSupport::msg_format;
using AuditSupport::request_id;
using AuditSupport::session_id;
using AuditSupport::time_stamp;

namespace {
// The user-source row that stands for every file read on behalf of a remote server.
const char kRemoteSourceName[] = "-";
const char kRemoteSourceType[] = "REMOTE";
}  // namespace

bool Parser::ParseRemoteRequestInfo(const std::vector<std::string>& fields) {
    const CheckedLine line(fields);
    // clang-format off
    KRL_ASSERT(AuditSupport::GetComponent( AuditSupport::kQXDS ) == line[ component_id ], "auditfileprocessor/source/parser", 709);
    // clang-format on
    if (!resumeReached) {
        return true;
    }

    const std::string& sessionId = line[session_id];
    const std::string& requestId = line[request_id];
    const std::string& format = line[msg_format];
    std::string stamp = line[time_stamp];
    FixupDateTime(stamp);

    if (format == AuditSupport::GetFormat(AuditSupport::kREMOTE)) {
        const handlerSupport::SessionRow session =
            handlerSupport::EnsureSessionRow(db, TableFor(kSessionTable), sessionId, 727);
        if (session == handlerSupport::SessionRow::kInsertFailed) {
            return false;
        }
        if (!handlerSupport::WriteUserSource(
                db, TableFor(kUserSourceTable), sessionId, kRemoteSourceName, kRemoteSourceType,
                line[message], session == handlerSupport::SessionRow::kInserted, 752)) {
            return false;
        }
        // The mirror list and the status come later, from REQINFO and SUCC.
        RequestTableAccess request(TableFor(kRequestTable));
        handlerSupport::OpenRequestRow(
            request, sessionId, requestId, stamp, kTypeRemote,
            {m_server.machineName, m_server.machinePort, m_server.versionTimeStamp});
        return request.Insert(db);
    }

    if (format == AuditSupport::GetFormat(AuditSupport::kSUCC)) {
        return handlerSupport::CloseRequest(db, TableFor(kRequestTable), sessionId, requestId,
                                            stamp, kStatusSuccess, line[message]);
    }

    // Other data-server formats carry nothing for the audit tables.
    return false;
}
