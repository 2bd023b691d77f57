// The data server's user records: the user name of a session (USR) or the
// user class of a request (UC), each completing a row written before.
#include <cstring>
#include <string>
#include <vector>

#include "ConversionUtils.h"
#include "auditSupport.h"
#include "checkedLine.h"
#include "krlAssertError.h"
#include "parser.h"
#include "requestTableAccess.h"
#include "sessionTableAccess.h"

using AuditSupport::component_id;
using AuditSupport::message;
using AuditSupport::msg_format;
using AuditSupport::request_id;
using AuditSupport::session_id;

bool Parser::ParseUserInfo(const std::vector<std::string>& fields) {
    const CheckedLine line(fields);
    // clang-format off
    KRL_ASSERT(0 == strcmp( AuditSupport::GetComponent( AuditSupport::kQXDS ), line[ component_id ].c_str() ), "auditfileprocessor/source/parser", 1188);
    // clang-format on
    if (!resumeReached) {
        return true;
    }

    const std::string& format = line[msg_format];
    if (format == AuditSupport::GetFormat(AuditSupport::kUSR)) {
        SessionTableAccess session(TableFor(kSessionTable));
        session.m_sessionId.SetValue(line[session_id]);
        // The server writes characters outside its own encoding as numeric
        // references; the program directory names no encoding, so the
        // converter falls back to UTF-8.
        std::string userName = line[message];
        decodeUnicodeEscapeSequences(userName, programDir);
        SessionTableAccess newValues(TableFor(kSessionTable));
        newValues.m_userName.SetValue(userName);
        return session.Update(db, newValues);
    }

    if (format == AuditSupport::GetFormat(AuditSupport::kUC)) {
        RequestTableAccess request(TableFor(kRequestTable));
        request.m_sessionId.SetValue(line[session_id]);
        request.m_requestId.SetValue(line[request_id]);
        RequestTableAccess newValues(TableFor(kRequestTable));
        newValues.m_userClass.SetValue(line[message]);
        return request.Update(db, newValues);
    }

    Explain(UnknownFormat(line[msg_format], "a user record"));
    KRL_ASSERT(FALSE, "auditfileprocessor/source/parser", 1222);
    return false;
}
