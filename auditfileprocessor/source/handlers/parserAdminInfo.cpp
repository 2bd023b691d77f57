// The server's administration records: one action (LOGIN, COPY, MOVE, ...)
// on one object, recorded as a finished request of the administration type.
#include <cstring>
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

bool Parser::ParseAdminInfo(const std::vector<std::string>& fields) {
    const CheckedLine line(fields);
    // clang-format off
    KRL_ASSERT(0 == strcmp( line[ component_id ].c_str(), AuditSupport::GetComponent( AuditSupport::kQXES ) ), "auditfileprocessor/source/parser", 1011);
    // clang-format on
    if (!resumeReached) {
        return true;
    }

    const std::string& sessionId = line[session_id];
    const std::string& requestId = line[request_id];
    if (handlerSupport::EnsureSessionRow(db, TableFor(kSessionTable), sessionId, 1028) ==
        handlerSupport::SessionRow::kInsertFailed) {
        return false;
    }

    // An administrative action starts and ends at the same moment.
    std::string stamp = line[time_stamp];
    FixupDateTime(stamp);
    RequestTableAccess request(TableFor(kRequestTable));
    handlerSupport::OpenRequestRow(
        request, sessionId, requestId, stamp, kTypeAdmin,
        {m_server.machineName, m_server.machinePort, m_server.versionTimeStamp});
    request.m_endDateTime.SetValue(stamp);
    request.m_requestStatus.SetValue(kStatusSuccess);
    request.m_action.SetValue(line[msg_format]);
    if (!request.Insert(db)) {
        return false;
    }

    return handlerSupport::InsertAdminSource(db, TableFor(kAdminSourceTable), sessionId, requestId,
                                             line[message]);
}
