// SqliteDriver runs the audit database in an SQLite file, the embedded default
// (database type "SQ"). The file must exist and hold the audit tables: it is
// never created here, so a mistyped name cannot yield an empty database.
//   SqliteDriver driver;
//   DatabaseDriver::Result result = driver.open("/var/audit/audit.db", "");
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <unordered_map>

#include "databaseDriver.h"
#include "sqliteStatement.h"

struct sqlite3;

class SqliteDriver : public DatabaseDriver {
  public:
    // Concurrent loaders wait this long for each other's write lock.
    static constexpr int kBusyTimeoutMs = 60000;

    SqliteDriver();
    ~SqliteDriver() override;
    SqliteDriver(const SqliteDriver&) = delete;
    SqliteDriver& operator=(const SqliteDriver&) = delete;

    // `dbName` is the database file; the connect string is not used.
    Result open(const std::string& dbName, const std::string& connectString) override;
    void close() override;

    std::string databaseName() const override { return m_fileName; }
    std::string serverVersion() const override;
    std::string clientVersion() const override;
    // SQLite has no typed date literal: a date is stored as its quoted text.
    bool usesTypedDateLiterals() const override { return false; }

    Result begin() override;
    Result commit() override;
    Result rollback() override;

    Result execute(const std::string& statement, bool query,
                   std::vector<SqlDA::ColumnDescription>& columns) override;
    Result execute(const BoundStatement& statement, bool query,
                   std::vector<SqlDA::ColumnDescription>& columns) override;
    // Nothing to save on a local database: run at once, the failure kept.
    Result executeAhead(const BoundStatement& statement) override;
    Result runAhead() override;
    Result fetch(std::vector<std::optional<std::string>>& row) override;
    void release() override;

    Result savepointLine() override;
    Result releaseLine() override;
    Result rollbackLine() override;
    // FULL syncs the log at every commit; NORMAL leaves that to the next
    // FULL commit or checkpoint, which then makes every earlier commit durable.
    Result setDurableCommits(bool durable) override;
    void setLockWait(int milliseconds) override { m_busyTimeoutMs = milliseconds; }

    // Shapes kept compiled per connection; beyond this many, a new shape is
    // compiled for one use, so that no input makes the cache grow without end.
    static constexpr size_t kMaxShapes = 512;

  private:
    // Refuses to run when SQLite has given up our transaction on its own.
    Result checkTransaction() const;
    // Runs a compiled statement whose values are bound; a query with columns
    // stays in hand for fetch(), anything else is run to its end and reset.
    Result run(sqlite3_stmt* compiled, bool query, std::vector<SqlDA::ColumnDescription>& columns);
    // Binds each value with the type its literal had; `copy` when the values
    // must outlive this call (a query read later by fetch()).
    Result bind(sqlite3_stmt* compiled, const BoundStatement& statement, bool copy);
    // Compiles exactly one statement into `compiled`.
    Result prepare(const std::string& statement, SqliteStatement& compiled);
    // Runs a statement of the driver's own to its end.
    Result runToEnd(const char* statement);
    // The same for a statement run once per line: compiled on first use, kept in `cache`.
    Result runCached(SqliteStatement& cache, const char* statement);
    // The failure that result code `code` stands for, with SQLite's reason.
    Result failure(Phase phase, int code) const;
    // True when a transaction of ours is open in the database.
    bool transactionOpenInDatabase() const;

    std::unique_ptr<sqlite3, int (*)(sqlite3*)> m_db;
    std::string m_fileName;
    SqliteStatement m_statement;  // a statement compiled for one use, until release()
    std::unordered_map<std::string, SqliteStatement> m_shapes;  // by shape text
    sqlite3_stmt* m_inHand = nullptr;  // the query whose rows fetch() reads
    Result m_aheadFailure;             // the first failure since the last runAhead()
    bool m_inTransaction = false;
    int m_busyTimeoutMs = kBusyTimeoutMs;
    // The line savepoint's statements, compiled once per connection.
    SqliteStatement m_savepointLine, m_releaseLine, m_rollbackLine;
};
