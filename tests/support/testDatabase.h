// TestDatabase gives a test a fresh, empty audit database holding the eight
// audit tables of schema/, on SQLite (a temporary file) or on the private
// PostgreSQL server that tests/support/pgserver.sh starts (a new database,
// dropped again at the end). It also reads results back through the database's
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

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "sqldbapi.h"

enum class TestBackend { kSQLite, kPostgreSQL };

// "SQLite" or "PostgreSQL".
std::string BackendName(TestBackend backend);
// Lets GoogleTest print the parameter of a failing test.
void PrintTo(TestBackend backend, std::ostream* stream);

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

    TestBackend backend() const { return m_backend; }
    // False when the backend cannot be reached (PostgreSQL without a server).
    bool available() const { return m_reason.empty(); }
    std::string unavailableReason() const { return m_reason; }
    // True in CI, where a database that cannot be reached is a failure.
    static bool failWhenUnavailable();

    // The run options for the program's command line.
    std::string dbName() const { return m_dbName; }
    std::string dbConnect() const { return "LOCAL;" + dbType() + ";" + connectString(); }
    std::string dbUser() const { return m_user; }
    std::string dbPassword() const { return m_password; }
    // The two parts of dbConnect() that SQLDB::connect takes.
    std::string dbType() const;
    std::string connectString() const { return m_connectString; }

    // A session connected to the database, made on first use.
    SQLDB& db();

    // Runs SQL (one or more statements) through the native client; throws
    // std::runtime_error with the database's reason on failure.
    void exec(const std::string& sql);
    // The rows of a query as text; the SQL null reads "NULL".
    std::vector<std::vector<std::string>> query(const std::string& sql);
    long long countRows(const std::string& table);

  private:
    void createSqlite();
    void createPostgres();

    struct Native;  // the client library's connection for inspection
    TestBackend m_backend;
    std::string m_reason;
    std::string m_dbName;
    std::string m_connectString;
    std::string m_user;
    std::string m_password;
    std::string m_tempDir;        // SQLite: the directory holding the file
    std::string m_adminConninfo;  // PostgreSQL: where the database is created and dropped
    std::unique_ptr<Native> m_native;
    std::unique_ptr<SQLDB> m_db;
};

// Skips the calling test when the database is unavailable, or fails it in CI.
#define AFP_REQUIRE_DATABASE(testDatabase)                          \
    do {                                                            \
        if (!(testDatabase).available()) {                          \
            if (TestDatabase::failWhenUnavailable()) {              \
                GTEST_FAIL() << "database unavailable in CI: "      \
                             << (testDatabase).unavailableReason(); \
            } else {                                                \
                GTEST_SKIP() << (testDatabase).unavailableReason(); \
            }                                                       \
        }                                                           \
    } while (false)
