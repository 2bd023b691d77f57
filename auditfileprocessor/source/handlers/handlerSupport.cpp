#include "handlerSupport.h"

#include "adminSourceTableAccess.h"
#include "columnData.h"
#include "krlAssertError.h"
#include "requestTableAccess.h"
#include "sessionTableAccess.h"
#include "userSourceTableAccess.h"

namespace handlerSupport {

namespace {
// The handlers' assertions are located in the parser's source text.
const char kParserSource[] = "auditfileprocessor/source/parser";
}  // namespace

SessionRow EnsureSessionRow(SQLDB* db, const Table* sessionTable, const std::string& sessionId,
                            int selectAssertLine) {
    SessionTableAccess session(sessionTable);
    session.m_sessionId.SetValue(sessionId);
    const int count = session.Select(db);
    KRL_ASSERT(-1 != count, kParserSource, selectAssertLine);
    if (count > 0) {
        return SessionRow::kKnown;
    }
    // The user is not known yet: a user record fills USER_NAME later.
    if (session.Insert(db)) {
        return SessionRow::kInserted;
    }
    // Another loader may have inserted the same session since the look-up
    // (sessions run on from file to file); its row serves as well as ours.
    return session.Select(db) > 0 ? SessionRow::kKnown : SessionRow::kInsertFailed;
}

bool WriteUserSource(SQLDB* db, const Table* userSourceTable, const std::string& sessionId,
                     const std::string& sourceName, const std::string& sourceType,
                     const std::string& fileName, bool newSession, int selectAssertLine) {
    UserSourceTableAccess source(userSourceTable);
    source.m_sessionId.SetValue(sessionId);
    source.m_sourceName.SetValue(sourceName);
    source.m_sourceType.SetValue(sourceType);
    UserSourceTableAccess newValues(userSourceTable);
    newValues.m_sourceFilename.SetValue(fileName);
    if (!newSession) {
        // A new session cannot have used the source before, so only a known
        // session needs the look-up.
        const int count = source.Select(db);
        KRL_ASSERT(-1 != count, kParserSource, selectAssertLine);
        if (count > 0) {
            return source.Update(db, newValues);
        }
    }
    source.m_sourceFilename.SetValue(fileName);
    if (source.Insert(db)) {
        return true;
    }
    // Another loader may have recorded the same source since the look-up.
    return source.Select(db) > 0 && source.Update(db, newValues);
}

void OpenRequestRow(RequestTableAccess& row, const std::string& sessionId,
                    const std::string& requestId, const std::string& startDateTime,
                    const std::string& requestType, const ServerReference& server) {
    row.m_sessionId.SetValue(sessionId);
    row.m_requestId.SetValue(requestId);
    row.m_startDateTime.SetValue(startDateTime);
    row.m_requestType.SetValue(requestType);
    row.m_machineName.SetValue(server.machineName);
    row.m_machinePort.SetValue(server.machinePort);
    row.m_serverStartDateTime.SetValue(server.startDateTime);
}

bool CloseRequest(SQLDB* db, const Table* requestTable, const std::string& sessionId,
                  const std::string& requestId, const std::string& endDateTime,
                  const std::string& status, const std::string& message) {
    RequestTableAccess request(requestTable);
    request.m_sessionId.SetValue(sessionId);
    request.m_requestId.SetValue(requestId);
    RequestTableAccess newValues(requestTable);
    newValues.m_endDateTime.SetValue(endDateTime);
    newValues.m_requestStatus.SetValue(status);
    newValues.m_message.SetValue(message);
    return request.Update(db, newValues);
}

void SplitAdminObject(const std::string& message, std::string& sourceType,
                      std::string& sourceName) {
    const std::string::size_type comma = message.find(',');
    if (comma == std::string::npos) {
        sourceType = ColumnData::kNull;
        sourceName = message;
        return;
    }
    // Only the first comma separates: object names may hold commas themselves.
    sourceType = message.substr(0, comma);
    sourceName = message.substr(comma + 1);
}

bool InsertAdminSource(SQLDB* db, const Table* adminSourceTable, const std::string& sessionId,
                       const std::string& requestId, const std::string& message) {
    std::string sourceType;
    std::string sourceName;
    SplitAdminObject(message, sourceType, sourceName);
    AdminSourceTableAccess source(adminSourceTable);
    source.m_sessionId.SetValue(sessionId);
    source.m_requestId.SetValue(requestId);
    source.m_sourceName.SetValue(sourceName);
    source.m_sourceType.SetValue(sourceType);
    return source.Insert(db);
}

}  // namespace handlerSupport
