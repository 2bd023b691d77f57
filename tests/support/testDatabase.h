// A fresh, empty audit database for one test, holding the eight audit tables
// of schema/: a temporary SQLite file, or a new database (dropped at the end)
// on the private PostgreSQL server that tests/support/pgserver.sh starts.
// Results are read back through the database's own client library,
// independently of the code under test.
//   TestDatabase m_database{GetParam()};  // in SetUp: AFP_REQUIRE_DATABASE(m_database);
//   AFP_ON_BOTH_BACKENDS(Suite);
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "sqldbapi.h"

using Rows = std::vector<std::vector<std::string>>;

enum class TestBackend { kSQLite, kPostgreSQL };

inline std::string BackendName(TestBackend backend) {
    return backend == TestBackend::kSQLite ? "SQLite" : "PostgreSQL";
}
inline void PrintTo(TestBackend backend, std::ostream* stream) {
    *stream << BackendName(backend);
}

// Runs every case of a value-parameterised suite on both backends, each
// instance named after its backend.
#define AFP_ON_BOTH_BACKENDS(Suite)                                                             \
    INSTANTIATE_TEST_SUITE_P(Backends, Suite,                                                   \
                             ::testing::Values(TestBackend::kSQLite, TestBackend::kPostgreSQL), \
                             [](const ::testing::TestParamInfo<TestBackend>& instance) {        \
                                 return BackendName(instance.param);                            \
                             })

// The eight audit tables, in the order the schema creates them.
const char* const kAuditTables[] = {"QXES_DISPATCHER",    "QXES_SESSION",     "QXES_REQUEST",
                                    "QXES_ADMIN_SOURCE",  "QXES_USER_SOURCE", "QXES_DIM_USAGE",
                                    "QXES_MEASURE_USAGE", "QXES_LEVEL_USAGE"};

class TestDatabase {
  public:
    explicit TestDatabase(TestBackend backend = TestBackend::kSQLite);
    ~TestDatabase();
    TestDatabase(const TestDatabase&) = delete;
    TestDatabase& operator=(const TestDatabase&) = delete;

    // Empty when the database is ready, otherwise why it cannot be reached.
    const std::string& unavailableReason() const { return m_reason; }

    // The run options for the program's command line.
    std::string dbName() const { return m_dbName; }
    std::string dbConnect() const { return "LOCAL;" + dbType() + ";" + connectString(); }
    std::string dbUser() const { return m_user; }
    std::string dbPassword() const { return m_password; }
    // The two parts of dbConnect() that SQLDB::connect takes.
    std::string dbType() const { return m_backend == TestBackend::kSQLite ? "SQ" : "PG"; }
    std::string connectString() const { return m_connectString; }

    // A session connected to the database, made on first use.
    SQLDB& db();

    // Runs SQL (one or more statements) through the native client and returns
    // the rows as text, the SQL null as "NULL"; throws std::runtime_error with
    // the database's reason on failure.
    Rows query(const std::string& sql);
    void exec(const std::string& sql) { query(sql); }
    long long countRows(const std::string& table) {
        return std::stoll(query("SELECT COUNT(*) FROM " + table).at(0).at(0));
    }

  private:
    void create();

    struct Native;  // the client library's connection
    TestBackend m_backend;
    std::string m_reason, m_dbName, m_connectString, m_user, m_password;
    std::string m_adminConninfo;  // PostgreSQL: where the database is created and dropped
    std::unique_ptr<Native> m_native;
    std::unique_ptr<SQLDB> m_db;
};

// Skips the calling test when the database cannot be reached, or fails it in
// CI, where that is a fault of the set-up.
#define AFP_REQUIRE_DATABASE(testDatabase)                                            \
    do {                                                                              \
        const std::string afpReason = (testDatabase).unavailableReason();             \
        const char* afpCi = std::getenv("CI");                                        \
        if (!afpReason.empty() && afpCi != nullptr && std::string(afpCi) == "true") { \
            GTEST_FAIL() << "database unavailable in CI: " << afpReason;              \
        } else if (!afpReason.empty()) {                                              \
            GTEST_SKIP() << afpReason;                                                \
        }                                                                             \
    } while (false)
