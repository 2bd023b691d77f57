// PostgresDriver runs the audit database on a PostgreSQL server (database type
// "PG"). Every statement runs inside its own savepoint so that a refused row
// leaves the rest of its batch intact, and the savepoint, the statement and its
// release travel as one pipeline: one round trip per statement.
//   PostgresDriver driver;
//   DatabaseDriver::Result result = driver.open("audit", "host=db1 user=afp password=x");
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "boundStatement.h"
#include "databaseDriver.h"
#include "pgResult.h"

struct pg_conn;

class PostgresDriver : public DatabaseDriver {
  public:
    // Rows of a query read per round trip; one batch answers an existence check.
    static constexpr int kFetchBatch = 100;
    // Shapes kept prepared per connection; beyond this many, a new shape is
    // prepared unnamed, for one use.
    static constexpr size_t kMaxShapes = 512;

    PostgresDriver();
    ~PostgresDriver() override;
    PostgresDriver(const PostgresDriver&) = delete;
    PostgresDriver& operator=(const PostgresDriver&) = delete;

    // `connectString` is a keyword/value string ("host=... port=..."); `dbName`
    // is added to it as dbname. An empty string leaves the rest to libpq's defaults.
    Result open(const std::string& dbName, const std::string& connectString) override;
    void close() override;

    // Quotes a value for the keyword/value syntax when it needs quoting.
    std::string connectValue(const std::string& value) const override;

    std::string databaseName() const override;
    std::string serverVersion() const override;
    std::string clientVersion() const override;
    bool usesTypedDateLiterals() const override { return true; }

    Result begin() override;
    Result commit() override;
    Result rollback() override;

    Result execute(const std::string& statement, bool query,
                   std::vector<SqlDA::ColumnDescription>& columns) override;
    // A new shape is prepared under a name of its own in the same round trip
    // as its first run; each value goes as text with the type of its literal.
    Result execute(const BoundStatement& statement, bool query,
                   std::vector<SqlDA::ColumnDescription>& columns) override;
    // Statements sent ahead wait for the line's next round trip: the next
    // statement, runAhead(), the line's release or the commit, and all travel
    // in one pipeline under one savepoint.
    Result executeAhead(const BoundStatement& statement) override;
    Result runAhead() override;
    bool holdsBatches() const override { return true; }
    // The held statements go without savepoints: any failure rolls the whole
    // batch back. A predicted look-up goes in a form that fails when its
    // prediction does not hold, so that the COMMIT behind it never runs then.
    Result runHeld(bool opens, const std::vector<HeldStatement>& held, const BoundStatement* query,
                   bool commits, std::vector<SqlDA::ColumnDescription>& columns) override;
    Result fetch(std::vector<std::optional<std::string>>& row) override;
    void release() override;

    // The line savepoint and its release travel with the line's next
    // statement, so they cost no round trip of their own.
    Result savepointLine() override;
    Result releaseLine() override;
    Result rollbackLine() override;
    // synchronous_commit for the session: off lets a commit return before
    // the server's log reaches the disk.
    Result setDurableCommits(bool durable) override;

  private:
    // One message of a pipeline.
    struct Command {
        enum Kind { kSimple, kPrepare, kRunPrepared, kRunNamed, kPrepareShape, kRunShape };
        Kind kind;
        // The statement; for kRunNamed and the shapes the name it is prepared
        // under; empty for kRunPrepared, which runs the last prepared text.
        std::string text;
        Phase phase;                            // reported when this command fails
        const BoundStatement* bound = nullptr;  // the shape and values, for the shapes
    };

    // The cursor of the query in hand. A released cursor stays declared until
    // the next statement closes it in the same round trip. A query with bound
    // values comes back whole, without a cursor.
    enum CursorState { kNoCursor, kCursorInHand, kCursorToClose, kResultInHand };

    // Takes the first rows of a query in hand and describes its columns.
    void holdRows(PgResult rows, CursorState cursor, bool exhausted,
                  std::vector<SqlDA::ColumnDescription>& columns);
    // Sends `commands` and a sync as one pipeline and reads one result per command.
    Result runPipeline(const std::vector<Command>& commands, std::vector<PgResult>& results);
    // Runs `body` between a savepoint and its release; a failure rolls back to
    // the savepoint, so the transaction goes on. `results` holds the body's results.
    Result runGuarded(const std::vector<Command>& body, std::vector<PgResult>& results);
    // Adds the commands that run `statement` to `body`: its prepare first when
    // the shape is new, unless `pending` (shapes prepared earlier in the same
    // body) has it.
    void addShape(const BoundStatement& statement, std::vector<Command>& body,
                  std::unordered_map<std::string, std::string>& pending);
    // Runs the statements sent ahead; their first failure, if any.
    // Sends the statements held back, then lets go of the statement in hand,
    // before a statement that must wait for its own result.
    void SendAheadBeforeStatement();
    Result sendAhead();
    // Sends a shape's prepare or run with its values; 1 when sent.
    int sendShape(const Command& command);
    // Remembers the shapes that `commands` prepared under a name of their own.
    void keepPrepared(const std::vector<Command>& commands, const std::vector<PgResult>& results);
    // The first failed result of a held batch, after rolling the batch back.
    Result heldFailure(const std::vector<PgResult>& results, const std::vector<Command>& commands);
    // Runs one statement of the driver's own, outside any pipeline.
    Result runSimple(const char* statement, const char* expectedTag);
    // The failure of a command, with the server's reason.
    Result failure(Status status, Phase phase, const pg_result* result) const;
    bool connectionLost() const;

    std::unique_ptr<pg_conn, void (*)(pg_conn*)> m_conn;
    PgResult m_rows;  // the rows of the query in hand read so far
    int m_nextRow = 0;
    bool m_rowsExhausted = true;
    CursorState m_cursor = kNoCursor;
    // Line savepoint commands waiting for the next pipeline.
    std::vector<Command> m_linePrefix;
    // The name each shape is prepared under on this connection.
    std::unordered_map<std::string, std::string> m_shapes;
    unsigned long m_shapeNames = 0;       // names handed out on this connection
    std::vector<BoundStatement> m_ahead;  // statements sent ahead, not yet run
    Result m_aheadFailure;                // a failure of theirs not yet reported
};
