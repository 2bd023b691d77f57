// Steps that several event handlers of the Parser share: making sure a
// session row exists, recording a data source of a session, opening and
// closing request rows, and recording the object of an administrative action.
// Each step writes through the row accessors and reports the write's result.
//   if (handlerSupport::EnsureSessionRow(db, sessions, sessionId, 577) ==
//       handlerSupport::SessionRow::kInsertFailed) { return false; }
//   return handlerSupport::CloseRequest(db, requests, sessionId, requestId, end, "1", text);
#pragma once

#include <string>

class RequestTableAccess;
class SQLDB;
class Table;

namespace handlerSupport {

// What EnsureSessionRow found or did.
enum class SessionRow {
    kKnown,         // the row was there already
    kInserted,      // the session is new and its row was inserted
    kInsertFailed,  // the session is new and its insert failed
};

// The server instance that a request row refers to.
struct ServerReference {
    const std::string& machineName;
    const std::string& machinePort;
    const std::string& startDateTime;
};

// Selects the session row and inserts it (USER_NAME null) when absent. A
// failing select raises KRLAssertError at the caller's source line.
SessionRow EnsureSessionRow(SQLDB* db, const Table* sessionTable, const std::string& sessionId,
                            int selectAssertLine);

// Records that the session used a data source: inserts the user-source row,
// or, when the session was known and the row exists, updates its file name.
// False when the write failed.
bool WriteUserSource(SQLDB* db, const Table* userSourceTable, const std::string& sessionId,
                     const std::string& sourceName, const std::string& sourceType,
                     const std::string& fileName, bool newSession, int selectAssertLine);

// Fills the columns that every newly opened request row carries.
void OpenRequestRow(RequestTableAccess& row, const std::string& sessionId,
                    const std::string& requestId, const std::string& startDateTime,
                    const std::string& requestType, const ServerReference& server);

// Ends a request row: sets its end time, status and message. The update's result.
bool CloseRequest(SQLDB* db, const Table* requestTable, const std::string& sessionId,
                  const std::string& requestId, const std::string& endDateTime,
                  const std::string& status, const std::string& message);

// Splits an administration message at its first comma into the object's type
// (before) and name (after); without a comma the whole message is the name
// and the type stays "NULL".
void SplitAdminObject(const std::string& message, std::string& sourceType, std::string& sourceName);

// Inserts the administration-source row of a request for the object that the
// message names. The insert's result.
bool InsertAdminSource(SQLDB* db, const Table* adminSourceTable, const std::string& sessionId,
                       const std::string& requestId, const std::string& message);

}  // namespace handlerSupport
