// DatabaseDriver is the one seam between the session (SQLDB) and a database
// client library. A driver runs one statement at a time inside the one
// transaction and reports every failure as a Result, never as an exception, so
// that the session decides which message the administrator reads.
//   std::unique_ptr<DatabaseDriver> driver = std::make_unique<SqliteDriver>();
//   DatabaseDriver::Result result = driver->open("audit.db", "");
//   if (result.ok()) result = driver->begin();
//   if (result.ok()) result = driver->execute("INSERT INTO ...", false, columns);
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "boundStatement.h"
#include "sqlDA.h"

class DatabaseDriver {
  public:
    // The status of a call. The failures say what to do next: a failed
    // statement was refused for the values it carries and leaves its
    // transaction intact (skip the row), a failed transaction was given up by
    // the database (retry the batch), a failed connection needs the
    // administrator, and a database failure means the statement could not run
    // whatever its values (a missing table, missing rights, a full disk): stop
    // until it is fixed.
    enum Status {
        kOk = 0,
        kNoMoreRows = 100,
        kStatementFailed = -1,
        kTransactionFailed = -2,
        kConnectionFailed = -3,
        kDatabaseFailed = -4,
        // A batch whose statements were sent together went otherwise than
        // predicted: it is rolled back and run again statement by statement.
        kPredictionFailed = -5,
    };

    // Where a statement failed: while it was compiled or while it ran.
    enum Phase { kPrepare, kRun };

    // The outcome of one call; `message` is the database's own reason.
    struct Result {
        int status = kOk;
        Phase phase = kRun;
        std::string message;

        bool ok() const { return status >= 0; }
    };

    // The length reported for text without a declared width: half the largest
    // 32-bit length, so that no value is ever cut and adding to it cannot overflow.
    static constexpr long kUnboundedTextLength = 0x3fffffffL;

    // What the loader predicted for a statement it held back: that it runs,
    // or, for a look-up of a key, that it finds its row or none.
    enum class Expectation { kRuns, kFindsRow, kFindsNoRow };
    struct HeldStatement {
        BoundStatement statement;
        Expectation expect;
    };

    virtual ~DatabaseDriver() = default;

    // Opens the database `dbName` with the driver-specific connect string.
    virtual Result open(const std::string& dbName, const std::string& connectString) = 0;
    // Closes the database; an open transaction is rolled back. Safe to call twice.
    virtual void close() = 0;

    // How a user or password is written into the connect string so that blanks
    // and quotes in it cannot change the meaning of the rest.
    virtual std::string connectValue(const std::string& value) const { return value; }

    // The texts of the session description: the database, the server's version
    // and the client library's version.
    virtual std::string databaseName() const = 0;
    virtual std::string serverVersion() const = 0;
    virtual std::string clientVersion() const = 0;
    // True when dates are written TIMESTAMP '...', false when quoted alone.
    virtual bool usesTypedDateLiterals() const = 0;

    virtual Result begin() = 0;
    virtual Result commit() = 0;
    virtual Result rollback() = 0;

    // Compiles and runs exactly one statement; text holding more than one is
    // refused. For a query, `columns` receives the result's columns (empty
    // when the statement yields none) and its rows are then read by fetch().
    // A failed statement leaves the rest of the transaction intact.
    virtual Result execute(const std::string& statement, bool query,
                           std::vector<SqlDA::ColumnDescription>& columns) = 0;
    // The same for a statement with bound values: its shape is compiled once
    // per connection and kept, then run with each statement's values.
    virtual Result execute(const BoundStatement& statement, bool query,
                           std::vector<SqlDA::ColumnDescription>& columns) = 0;
    // Sends a statement (no query) whose result the caller does not wait for:
    // its failure comes back from the next runAhead(). Drivers that gain
    // nothing by waiting less may run it at once.
    virtual Result executeAhead(const BoundStatement& statement) = 0;
    // Runs what executeAhead() still holds and returns the first failure. On a
    // failure, the statements sent ahead since the last call may all be undone:
    // their line must then be refused.
    virtual Result runAhead() = 0;
    // Whether runHeld() can send many statements without waiting for each.
    virtual bool holdsBatches() const { return false; }
    // Sends in one round trip: BEGIN when `opens`, the held statements, then
    // `query` (its rows read by fetch()) or, when `commits`, COMMIT. Nothing is
    // committed unless every held statement ran as expected; otherwise the
    // transaction is rolled back and kPredictionFailed (or kConnectionFailed)
    // comes back.
    virtual Result runHeld(bool opens, const std::vector<HeldStatement>& held,
                           const BoundStatement* query, bool commits,
                           std::vector<SqlDA::ColumnDescription>& columns);
    // Reads the next row of the query in hand into `row`; kNoMoreRows at the end.
    virtual Result fetch(std::vector<std::optional<std::string>>& row) = 0;
    // Lets go of the statement in hand; nothing happens when there is none.
    virtual void release() = 0;

    // The rows of one audit line are undone together when the line is refused:
    // savepointLine() comes before the line's first statement, then either
    // releaseLine() keeps its rows or rollbackLine() undoes them.
    virtual Result savepointLine() = 0;
    virtual Result releaseLine() = 0;
    virtual Result rollbackLine() = 0;

    // Whether a commit returns only once its data is on disk (true), or may
    // be lost with the commits after it on a power loss (false). Called
    // outside a transaction.
    virtual Result setDurableCommits(bool durable) = 0;
    // How long to wait for a lock that another connection holds; called
    // before open(). Drivers whose server waits by itself ignore it.
    virtual void setLockWait(int /*milliseconds*/) {}
};
