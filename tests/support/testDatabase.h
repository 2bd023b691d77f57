// TestDatabase gives a test a fresh, empty audit database holding the eight
// audit tables of schema/, on SQLite (a temporary file) or on the private
// PostgreSQL server that tests/support/pgserver.sh starts (a new database,
// dropped again at the end). It reads results back through the database's
// own client library, independently of the code under test.
//   class LoadTest : public ::testing::TestWithParam<TestBackend> {
//     protected:
//       void SetUp() override { AFP_REQUIRE_DATABASE(m_database); }
//       TestDatabase m_database{GetParam()};
//   };
//   INSTANTIATE_TEST_SUITE_P(Backends, LoadTest,
//                            ::testing::Values(TestBackend::kSQLite, TestBackend::kPostgreSQL),
//                            TestBackendName());
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "sqldbapi.h"

enum class TestBackend { kSQLite, kPostgreSQL };

inline std::string BackendName(TestBackend backend) {
    return backend == TestBackend::kSQLite ? "SQLite" : "PostgreSQL";
}
// Lets GoogleTest print the parameter of a failing test.
inline void PrintTo(TestBackend backend, std::ostream* stream) {
    *stream << BackendName(backend);
}

// Names the instances of a value-parameterised suite after their backend.
struct TestBackendName {
    std::string operator()(const ::testing::TestParamInfo<TestBackend>& info) const {
        return BackendName(info.param);
    }
};

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
    // the rows of the last one as text, the SQL null as "NULL"; throws
    // std::runtime_error with the database's reason on failure.
    std::vector<std::vector<std::string>> query(const std::string& sql);
    void exec(const std::string& sql) { query(sql); }
    long long countRows(const std::string& table) {
        return std::stoll(query("SELECT COUNT(*) FROM " + table).at(0).at(0));
    }

  private:
    void create();

    struct Native;  // the client library's connection for inspection
    TestBackend m_backend;
    std::string m_reason;
    std::string m_dbName;
    std::string m_connectString;
    std::string m_user;
    std::string m_password;
    std::string m_adminConninfo;  // PostgreSQL: where the database is created and dropped
    std::unique_ptr<Native> m_native;
    std::unique_ptr<SQLDB> m_db;
};

// Skips the calling test when the database cannot be reached, or fails it in
// CI, where a missing database is an error of the set-up.
#define AFP_REQUIRE_DATABASE(testDatabase)                                   \
    do {                                                                     \
        const std::string afpReason = (testDatabase).unavailableReason();    \
        if (!afpReason.empty()) {                                            \
            const char* afpCi = std::getenv("CI");                           \
            if (afpCi != nullptr && std::string(afpCi) == "true") {          \
                GTEST_FAIL() << "database unavailable in CI: " << afpReason; \
            }                                                                \
            GTEST_SKIP() << afpReason;                                       \
        }                                                                    \
    } while (false)
