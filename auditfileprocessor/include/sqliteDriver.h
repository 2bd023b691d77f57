// SqliteDriver runs the audit database in an SQLite file, the embedded default
// (database type "SQ"). The file must exist and hold the audit tables: it is
// never created here, so a mistyped name cannot yield an empty database.
//   SqliteDriver driver;
//   DatabaseDriver::Result result = driver.open("/var/audit/audit.db", "");
#pragma once

#include <memory>
#include <string>

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
    Result fetch(std::vector<std::optional<std::string>>& row) override;
    void release() override;

    Result savepointLine() override;
    Result releaseLine() override;
    Result rollbackLine() override;
    // FULL syncs the log at every commit; NORMAL leaves that to the next
    // FULL commit or checkpoint, which then makes every earlier commit durable.
    Result setDurableCommits(bool durable) override;
    void setLockWait(int milliseconds) override { m_busyTimeoutMs = milliseconds; }

  private:
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
    SqliteStatement m_statement;  // the query in hand, until release()
    bool m_inTransaction = false;
    int m_busyTimeoutMs = kBusyTimeoutMs;
    // The line savepoint's statements, compiled once per connection.
    SqliteStatement m_savepointLine, m_releaseLine, m_rollbackLine;
};
