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

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "databaseDriver.h"
#include "knownKeys.h"
#include "sqlDA.h"

class SQLDB {
  public:
    enum eRequestType {
        kQuery = 0,   // returns rows, read through fetch()
        kUpdate = 1,  // run once, no result set
    };

    // Makes the driver of a database type ("SQ", "PG"), or raises
    // CPPWebException for any other type.
    using DriverFactory = std::unique_ptr<DatabaseDriver> (*)(const std::string& dbType);
    // The real drivers, made by every session unless a test put a factory
    // of its own in their place (one that wraps them with faults).
    static std::unique_ptr<DatabaseDriver> MakeRealDriver(const std::string& dbType);
    static void SetDriverFactory(DriverFactory factory);

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
    SqlDA* execute(const std::string& statement, eRequestType type);
    // The same with bound values: the shape is compiled once per connection.
    // A query's values must outlive the reading of its rows.
    SqlDA* execute(const BoundStatement& statement, eRequestType type);
    // Sends an INSERT or UPDATE whose result the line does not wait for (on
    // PostgreSQL it travels with the line's next round trip). A line that
    // sends ahead calls runAhead() before it ends.
    void executeAhead(const BoundStatement& statement);
    // Runs what was sent ahead: false when a statement failed (see
    // lastStatus() and lineFailureText()); every statement sent ahead since
    // the last call may then be undone, and the line must be refused.
    bool runAhead();
    // The next row of the open query, or NULL at the end.
    SqlDA* fetch();

    // With `held` on a driver that holds batches (PostgreSQL), the
    // transaction's statements are held and sent together, with the look-ups
    // the caller predicts (holdLookup), when a look-up must be answered now
    // and at the commit; every prediction is checked by the database, and a
    // wrong one fails the batch with status -5 (replay it statement by
    // statement). What it writes to the SQL dump appears once it commits.
    void startTransaction(bool held = false);
    bool canHoldBatches() const;
    bool isHolding() const { return m_holding; }
    // In a held transaction: a look-up whose answer the caller predicts.
    void holdLookup(const BoundStatement& statement, bool findsRow);
    // Fails the line in hand with status -5: its held batch cannot be
    // settled as predicted (it would show what a replay shows again).
    void abandonHeldBatch(const std::string& reason);
    // The keys of rows written or found in this run, for the predictions.
    KnownKeys& knownKeys() { return m_knownKeys; }
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
    // statement was refused for its values (its transaction goes on), -2 the
    // database gave up the transaction (retry the batch), -3 the database
    // cannot be reached, -4 the statement cannot run whatever its values.
    int lastStatus() const { return m_status; }

    // Copies a statement to the SQL dump file, when one is open: a newline,
    // then the statement. The one writer of the dump; it is flushed at each
    // transaction boundary.
    static void WriteToDump(const std::string& statement);

    // Connects again with the parameters of the last connect().
    std::string reconnect();
    // How long SQLite waits for another loader's lock; set before connect().
    void setLockWaitSeconds(int seconds) { m_lockWaitSeconds = seconds; }
    // See DatabaseDriver::setDurableCommits; outside a transaction.
    void setDurableCommits(bool durable);

    // What the statements of one audit line came to.
    struct LineResult {
        // 0 when every statement ran; otherwise the worst failure: -1 a
        // statement refused for its values, -2 or below the transaction, the
        // connection or the database failed, and the file must stop.
        int failureStatus = 0;
        // The database's reason, or why a value was refused before it was sent.
        std::string failureText;
        // Inserts and updates that ran and were kept.
        unsigned writes = 0;
        // The line cannot be settled on its own: its batch is in doubt.
        bool stopsFile = false;
    };

    // One audit line: what it writes between beginLine() and endLine() is
    // kept or undone as a whole, without touching the rest of its batch. The
    // savepoint is only taken when the line runs its first statement.
    void beginLine();
    // Ends the line and says how it went: its rows are kept when `keep` is
    // true, otherwise undone, with whatever the drivers still held for it.
    // A failure that stops the file is returned, not raised: the batch is
    // rolled back as a whole then, so the line's savepoint is left alone.
    LineResult endLine(bool keep);
    // Records why a statement of the line was refused before it reached the
    // database (a value that failed its checks).
    void noteRefusedStatement(const std::string& reason);

  private:
    // Held statements sent per round trip at most, so that neither side of
    // the connection fills its buffers while the other waits.
    static constexpr size_t kMaxHeld = 1000;

    SqlDA* runHeldStatement(const BoundStatement& statement, eRequestType type);
    void hold(const BoundStatement& statement, DatabaseDriver::Expectation expect);
    // Sends what is held, then `query` or the commit; raises on failure.
    void sendHeld(const BoundStatement* query, bool commits);
    LineResult endHeldLine(LineResult line, bool keep);
    void commitHeld(bool commit);
    // Takes the line's savepoint before its first statement.
    void takeLineSavepoint();
    // Runs a statement given as text or bound (the other is NULL).
    SqlDA* run(const std::string* text, const BoundStatement* bound, eRequestType type);
    void recordFailure(int status, const std::string& text);
    std::unique_ptr<DatabaseDriver> m_driver;
    // The driver whose transaction is open; NULL while none is.
    DatabaseDriver* m_trHandle = nullptr;
    // The descriptor of the query whose rows fetch() reads; NULL when none.
    SqlDA* m_crHandle = nullptr;
    std::unique_ptr<SqlDA> m_outputDA;  // owns what m_crHandle points at; reused
    int m_status = 0;
    eRequestType m_requestType = kUpdate;

    // What connect() was given, for reconnect().
    std::string m_dbName, m_connectString, m_dbType, m_user, m_password;
    int m_lockWaitSeconds = 60;

    // The audit line in hand, between beginLine() and endLine(); emptied
    // with its transaction too, so that nothing of it reaches the next line.
    bool m_inLine = false;
    bool m_lineSavepointTaken = false;
    LineResult m_line;

    // The held transaction: its statements not sent yet, whether its BEGIN
    // went out, and whether it came to nothing (it leaves no trace in the dump).
    bool m_holding = false;
    bool m_opened = false;
    bool m_heldBatchLost = false;
    std::vector<DatabaseDriver::HeldStatement> m_held;
    // Where the line in hand's held statements begin, and whether some of
    // them went out already (a refused line then cannot be taken back).
    size_t m_lineHeldFrom = 0;
    bool m_lineSent = false;
    std::string m_heldDump;
    KnownKeys m_knownKeys;
};
