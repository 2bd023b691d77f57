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
    std::string getAttribute(long attributeId);
    void disconnect();

    // Prepares and runs one statement. A query returns its descriptor (the
    // cursor is then open), anything else NULL. Failures throw CPPWebException.
    SqlDA* execute(std::string statement, eRequestType type);
    // The next row of the open query, or NULL at the end.
    SqlDA* fetch();

    void startTransaction();
    // Non-zero commits, zero rolls back; nothing happens when no transaction is open.
    void commit(int commitOrRollback);
    bool isTransactionOpen() const;
    // True when the database takes date literals written TIMESTAMP '...';
    // false when it takes the quoted value alone.
    bool usesTypedDateLiterals() const;
    // Releases the statement in hand; called after every statement.
    void freeRequest();

    // The status of the last driver call: negative is an error, 100 is end of data.
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
