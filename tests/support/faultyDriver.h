// A database driver that wraps a real one and fails where a test says: the
// N-th commit, the K-th statement (as the database fails a statement it
// cannot run whatever its values), or the connection at the K-th statement.
// Counts run over the whole process, across reconnections, so each fault
// happens once; statements held in a batch count as they are sent. It can
// also play another loader: before the N-th insert of a session, a second
// connection inserts the same session ("intrude=N"), or before every N-th
// ("intrudeevery=N", the benchmark's mispredictions).
//   FaultyDriver::Plan plan;
//   plan.failCommit = 3;
//   FaultyDriver::Install(plan);  // every session made from now on is wrapped
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "databaseDriver.h"

class FaultyDriver : public DatabaseDriver {
  public:
    // Which calls fail; 0 leaves that fault out.
    struct Plan {
        int failCommit = 0;
        int failStatement = 0;
        int dropAtStatement = 0;
        int intrudeAtSessionInsert = 0;
        int intrudeEverySessionInsert = 0;
    };

    // Wraps the real drivers of every session made from now on.
    static void Install(const Plan& plan);
    // The plan written as "commit=N", "statement=K", "drop=K" or "intrude=N"; false when
    // the text is none of these.
    static bool ParsePlan(const std::string& text, Plan& plan);

    FaultyDriver(std::unique_ptr<DatabaseDriver> real, std::string dbType);

    Result open(const std::string& dbName, const std::string& connectString) override;
    void close() override;
    std::string connectValue(const std::string& value) const override;
    std::string databaseName() const override;
    std::string serverVersion() const override;
    std::string clientVersion() const override;
    bool usesTypedDateLiterals() const override;
    Result begin() override;
    Result commit() override;
    Result rollback() override;
    Result execute(const std::string& statement, bool query,
                   std::vector<SqlDA::ColumnDescription>& columns) override;
    Result execute(const BoundStatement& statement, bool query,
                   std::vector<SqlDA::ColumnDescription>& columns) override;
    Result executeAhead(const BoundStatement& statement) override;
    Result runAhead() override;
    bool holdsBatches() const override;
    Result runHeld(bool opens, const std::vector<HeldStatement>& held, const BoundStatement* query,
                   bool commits, std::vector<SqlDA::ColumnDescription>& columns) override;
    Result fetch(std::vector<std::optional<std::string>>& row) override;
    void release() override;
    Result savepointLine() override;
    Result releaseLine() override;
    Result rollbackLine() override;
    Result setDurableCommits(bool durable) override;
    void setLockWait(int milliseconds) override;

  private:
    // The fault due at the statement about to run, if any; a dropped
    // connection stays dropped until the session connects again.
    Result statementFault();
    Result dropped() const;
    // The faults of one statement of a held batch: a failing one fails the
    // batch, whose replay meets it again at the same count.
    Result heldFault(const BoundStatement& statement, int countBefore);
    // Plays the other loader when `statement` is the session insert it waits for.
    void intrudeBefore(const BoundStatement& statement);

    std::unique_ptr<DatabaseDriver> m_real;
    const std::string m_dbType;
    std::string m_dbName, m_connectString;
    bool m_dropped = false;
};
