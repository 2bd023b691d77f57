// A database driver that wraps a real one and fails where a test says: the
// N-th commit, the K-th statement (as the database fails a statement it
// cannot run whatever its values), or the connection at the K-th statement.
// Counts run over the whole process, across reconnections, so each fault
// happens once.
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
    };

    // Wraps the real drivers of every session made from now on.
    static void Install(const Plan& plan);
    // The plan written as "commit=N", "statement=K" or "drop=K"; false when
    // the text is none of these.
    static bool ParsePlan(const std::string& text, Plan& plan);

    explicit FaultyDriver(std::unique_ptr<DatabaseDriver> real);

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

    std::unique_ptr<DatabaseDriver> m_real;
    bool m_dropped = false;
};
