// The portal's publish records: a publish begins (TRVR) and ends in success
// (TRVS) or failure (TRVE). A begun publish is stored like an administrative
// action whose end is not known yet.
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

bool Parser::ParseTarvelInfo(const std::vector<std::string>& fields) {
    const CheckedLine line(fields);
    // clang-format off
    KRL_ASSERT(0 == strcmp( line[ component_id ].c_str(), AuditSupport::GetComponent( AuditSupport::kQXPB ) ), "auditfileprocessor/source/parser", 1089);
    // clang-format on
    if (!resumeReached) {
        return true;
    }

    const std::string& sessionId = line[session_id];
    const std::string& requestId = line[request_id];
    const std::string& format = line[msg_format];
    std::string stamp = line[time_stamp];
    FixupDateTime(stamp);

    if (format == AuditSupport::GetFormat(AuditSupport::kTRVR)) {
        if (handlerSupport::EnsureSessionRow(db, TableFor(kSessionTable), sessionId, 1107) ==
            handlerSupport::SessionRow::kInsertFailed) {
            return false;
        }
        // The end time and the status stay null until TRVS or TRVE closes the request.
        RequestTableAccess request(TableFor(kRequestTable));
        handlerSupport::OpenRequestRow(
            request, sessionId, requestId, stamp, kTypeAdmin,
            {m_server.machineName, m_server.machinePort, m_server.versionTimeStamp});
        request.m_action.SetValue(kActionTarvel);
        if (!request.Insert(db)) {
            return false;
        }
        return handlerSupport::InsertAdminSource(db, TableFor(kAdminSourceTable), sessionId,
                                                 requestId, line[message]);
    }

    if (format == AuditSupport::GetFormat(AuditSupport::kTRVS)) {
        return handlerSupport::CloseRequest(db, TableFor(kRequestTable), sessionId, requestId,
                                            stamp, kStatusSuccess, line[message]);
    }

    Explain(UnknownFormat(format, "a publishing record"));
    KRL_ASSERT(FALSE, "auditfileprocessor/source/parser", 1177);
    return false;
}

bool Parser::ParseTarvelError(const std::vector<std::string>& fields) {
    const CheckedLine line(fields);
    // clang-format off
    KRL_ASSERT(0 == strcmp( line[ component_id ].c_str(), AuditSupport::GetComponent( AuditSupport::kQXPB ) ), "auditfileprocessor/source/parser", 1231);
    // clang-format on
    if (!resumeReached) {
        return true;
    }

    if (line[msg_format] != AuditSupport::GetFormat(AuditSupport::kTRVE)) {
        Explain(UnknownFormat(line[msg_format], "a publishing error record"));
        KRL_ASSERT(FALSE, "auditfileprocessor/source/parser", 1256);
    }

    std::string stamp = line[time_stamp];
    FixupDateTime(stamp);
    return handlerSupport::CloseRequest(db, TableFor(kRequestTable), line[session_id],
                                        line[request_id], stamp, kStatusFail, line[message]);
}
