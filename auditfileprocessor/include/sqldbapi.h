// SQLDB is the one session the program holds with the audit database. It runs
// one statement at a time inside the one open transaction, through the driver of
// the database type named on the command line ("SQ" SQLite, "PG" PostgreSQL).
//   SQLDB db;
//   std::string description = db.connect("audit.db", "", "SQ", "user", "pw");
//   db.startTransaction();
//   db.execute("INSERT INTO ...", SQLDB::kUpdate);  // throws on failure
//   db.freeRequest();
//   db.commit(1);
#pragma once

#include <memory>
#include <string>

#include "sqlDA.h"

class DatabaseDriver;

class SQLDB {
  public:
    enum eRequestType {
        kQuery = 0,   // returns rows, read through fetch()
        kUpdate = 1,  // run once, no result set
    };

    SQLDB();
    ~SQLDB();  // disconnects: uncommitted work is rolled back
    SQLDB(const SQLDB&) = delete;
    SQLDB& operator=(const SQLDB&) = delete;

    // Opens the session and returns "Database: ... Server Version: ... Client Version: ...".
    std::string connect(const std::string& dbName, const std::string& connectString,
                        const std::string& dbType, const std::string& user,
                        const std::string& password);
    // 118 the database, 119 the server's version, 114 the client library's
    // version; "unknown" for anything else or before connecting.
    std::string getAttribute(long attributeId);
    void disconnect();

    // Prepares and runs one statement. A query returns its descriptor (the
    // cursor is then open), anything else NULL. Failures throw RDXSQLException
    // ("Prepare failed with status -1. <the database's reason>").
    SqlDA* execute(std::string statement, eRequestType type);
    // The next row of the open query, or NULL at the end.
    SqlDA* fetch();

    void startTransaction();
    // Non-zero commits, zero rolls back; nothing happens when no transaction is open.
    // A commit that fails raises "Commit failed with status %0.": the batch is lost
    // and must not pass for loaded. The transaction is over either way.
    void commit(int commitOrRollback);
    bool isTransactionOpen() const;
    // True when the database takes date literals written TIMESTAMP '...';
    // false when it takes the quoted value alone.
    bool usesTypedDateLiterals() const;
    // Releases the statement in hand; called after every statement.
    void freeRequest();

    // The status of the last driver call: 0 done, 100 end of data, -1 the
    // statement was refused (its transaction goes on), -2 the database gave up
    // the transaction (retry the batch), -3 the database cannot be reached.
    int lastStatus() const { return m_status; }

  private:
    std::unique_ptr<DatabaseDriver> m_driver;
    // The driver whose transaction is open; NULL while none is.
    DatabaseDriver* m_trHandle = nullptr;
    // The descriptor of the query whose rows fetch() reads; NULL when none.
    SqlDA* m_crHandle = nullptr;
    std::unique_ptr<SqlDA> m_outputDA;  // owns what m_crHandle points at
    int m_status = 0;
    eRequestType m_requestType = kUpdate;
};
