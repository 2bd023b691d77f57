// The database session against real databases: every case runs on SQLite and
// on PostgreSQL (the latter skipped unless a test server is configured).
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "cppWebException.h"
#include "dataAccessLayer.h"
#include "krlAssertError.h"
#include "sqldbapi.h"
#include "testDatabase.h"

namespace {

using namespace std::string_literals;

// Runs `action` and returns the text of the CPPWebException it raises.
template <typename Action>
std::string FailureText(Action action) {
    try {
        action();
    } catch (const CPPWebException& error) {
        return error.getErrorCodeMessage();
    }
    return "<no exception>";
}

bool StartsWith(const std::string& text, const std::string& prefix) {
    return text.compare(0, prefix.size(), prefix) == 0;
}

bool FileExists(const std::string& path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0;
}

class SqldbTest : public ::testing::TestWithParam<TestBackend> {
  protected:
    void SetUp() override { AFP_REQUIRE_DATABASE(m_database); }

    // The values a query returns, row by row; the SQL null reads "NULL".
    std::vector<std::vector<std::string>> ReadAll(const std::string& statement) {
        std::vector<std::vector<std::string>> rows;
        SQLDB& db = m_database.db();
        SqlDA* descriptor = db.execute(statement, SQLDB::kQuery);
        EXPECT_NE(descriptor, nullptr);
        while (descriptor != nullptr && db.fetch() != nullptr) {
            std::vector<std::string> row;
            for (const auto& value : descriptor->row) {
                row.push_back(value ? *value : "NULL");
            }
            rows.push_back(row);
        }
        db.freeRequest();
        return rows;
    }

    void Run(const std::string& statement) {
        m_database.db().execute(statement, SQLDB::kUpdate);
        m_database.db().freeRequest();
    }

    TestDatabase m_database{GetParam()};
};

TEST_P(SqldbTest, ConnectDescribesTheDatabaseAndBothVersions) {
    SQLDB db;
    EXPECT_EQ(db.getAttribute(118), "unknown");  // before connecting
    std::string description =
        db.connect(m_database.dbName(), m_database.connectString(), m_database.dbType(),
                   m_database.dbUser(), m_database.dbPassword());
    std::string server = db.getAttribute(119);
    std::string client = db.getAttribute(114);
    EXPECT_EQ(db.getAttribute(118), m_database.dbName());
    EXPECT_NE(server, "unknown");
    EXPECT_NE(client, "unknown");
    EXPECT_EQ(db.getAttribute(7), "unknown");
    EXPECT_EQ(description, "Database: " + m_database.dbName() + " Server Version: " + server +
                               " Client Version: " + client);
}

TEST_P(SqldbTest, QueryReturnsRowsThenNullAtTheEnd) {
    SQLDB& db = m_database.db();
    db.startTransaction();
    Run("INSERT INTO QXES_SESSION(SESSION_ID, USER_NAME) VALUES ('s1', 'ann')");
    Run("INSERT INTO QXES_SESSION(SESSION_ID, USER_NAME) VALUES ('s2', NULL)");
    std::vector<std::vector<std::string>> expected = {{"s1", "ann"}, {"s2", "NULL"}};
    EXPECT_EQ(ReadAll("SELECT SESSION_ID, USER_NAME FROM QXES_SESSION ORDER BY SESSION_ID"),
              expected);
    EXPECT_EQ(db.lastStatus(), 100);
    db.commit(1);
}

TEST_P(SqldbTest, QueryReadsRowsBeyondOneBatch) {
    SQLDB& db = m_database.db();
    db.startTransaction();
    const int kRows = 250;
    for (int i = 0; i < kRows; ++i) {
        Run("INSERT INTO QXES_SESSION(SESSION_ID) VALUES ('" + std::to_string(1000 + i) + "')");
    }
    std::vector<std::vector<std::string>> rows =
        ReadAll("SELECT SESSION_ID FROM QXES_SESSION ORDER BY SESSION_ID");
    ASSERT_EQ(rows.size(), static_cast<size_t>(kRows));
    EXPECT_EQ(rows.back().at(0), std::to_string(1000 + kRows - 1));
    db.commit(1);
}

TEST_P(SqldbTest, CommitKeepsTheBatchAndRollbackDiscardsIt) {
    struct Case {
        int commitOrRollback;
        long long rowsAfter;
    };
    for (const Case& c : {Case{1, 1}, Case{0, 0}}) {
        SCOPED_TRACE(c.commitOrRollback);
        m_database.exec("DELETE FROM QXES_SESSION");
        SQLDB& db = m_database.db();
        db.startTransaction();
        Run("INSERT INTO QXES_SESSION(SESSION_ID) VALUES ('s1')");
        EXPECT_EQ(m_database.countRows("QXES_SESSION"), 0);  // not visible before the end
        db.commit(c.commitOrRollback);
        EXPECT_FALSE(db.isTransactionOpen());
        EXPECT_EQ(m_database.countRows("QXES_SESSION"), c.rowsAfter);
        db.commit(1);  // nothing open: nothing happens
    }
}

TEST_P(SqldbTest, DisconnectRollsBackUncommittedWork) {
    SQLDB& db = m_database.db();
    db.startTransaction();
    Run("INSERT INTO QXES_SESSION(SESSION_ID) VALUES ('s1')");
    db.disconnect();
    EXPECT_EQ(m_database.countRows("QXES_SESSION"), 0);
}

TEST_P(SqldbTest, FailingStatementKeepsItsNeighboursInTheTransaction) {
    struct Case {
        const char* name;
        std::string statement;
        SQLDB::eRequestType type;
        std::string expectedPrefix;
    };
    const std::vector<Case> cases = {
        {"duplicate key", "INSERT INTO QXES_SESSION(SESSION_ID) VALUES ('before')", SQLDB::kUpdate,
         "sqlExecute failed with status -1. "},
        {"null key", "INSERT INTO QXES_SESSION(SESSION_ID) VALUES (NULL)", SQLDB::kUpdate,
         "sqlExecute failed with status -1. "},
        {"syntax error", "INSERT INTO QXES_SESSION(SESSION_ID) VALUES ('x'", SQLDB::kUpdate,
         "Prepare failed with status -1. "},
        {"comment only", "-- nothing to run", SQLDB::kUpdate, "Prepare failed with status -1. "},
        {"missing table", "SELECT * FROM QXES_NO_SUCH_TABLE", SQLDB::kQuery,
         "Prepare failed with status -1. "},
        {"two statements",
         "INSERT INTO QXES_SESSION(SESSION_ID) VALUES ('x'); DELETE FROM QXES_SESSION",
         SQLDB::kUpdate, "Prepare failed with status -1. "},
        // A client library that reads the text as a C string would run the
        // first statement alone.
        {"NUL after a statement",
         "INSERT INTO QXES_SESSION(SESSION_ID) VALUES ('x')\0DELETE FROM QXES_SESSION"s,
         SQLDB::kUpdate, "Prepare failed with status -1. "},
        {"NUL inside a literal", "INSERT INTO QXES_SESSION(SESSION_ID) VALUES ('x\0y')"s,
         SQLDB::kUpdate, "Prepare failed with status -1. "},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        m_database.exec("DELETE FROM QXES_SESSION");
        SQLDB& db = m_database.db();
        db.startTransaction();
        Run("INSERT INTO QXES_SESSION(SESSION_ID) VALUES ('before')");
        std::string text = FailureText([&] { db.execute(c.statement, c.type); });
        EXPECT_TRUE(StartsWith(text, c.expectedPrefix)) << text;
        EXPECT_GT(text.size(), c.expectedPrefix.size()) << "the database's reason is missing";
        EXPECT_EQ(db.lastStatus(), -1);
        db.freeRequest();
        Run("INSERT INTO QXES_SESSION(SESSION_ID) VALUES ('after')");
        db.commit(1);
        std::vector<std::vector<std::string>> expected = {{"after"}, {"before"}};
        EXPECT_EQ(m_database.query("SELECT SESSION_ID FROM QXES_SESSION ORDER BY SESSION_ID"),
                  expected);
    }
}

TEST_P(SqldbTest, CatalogueQueryDescribesEveryAuditTableWithoutReadingRows) {
    struct Expected {
        const char* name;
        SqlColType type;
        long length;
    };
    const Expected kDate{"", kSqlColTimestamp, 8};
    auto text = [](const char* name, long width) { return Expected{name, kSqlColText, width + 2}; };
    auto integer = [](const char* name) { return Expected{name, kSqlColInteger, 4}; };
    auto count = [](const char* name) { return Expected{name, kSqlColBigInt, 8}; };
    auto date = [&](const char* name) { return Expected{name, kDate.type, kDate.length}; };
    const std::vector<std::pair<std::string, std::vector<Expected>>> tables = {
        {"QXES_DISPATCHER",
         {date("SERVER_START_DATE_TIME"), text("MACHINE_NAME", 255), integer("MACHINE_PORT"),
          text("TIME_ZONE", 64), text("QXES_VERSION", 255), integer("LOGFILE_VERSION"),
          integer("LOGFILE_GENERATION")}},
        {"QXES_SESSION", {text("SESSION_ID", 64), text("USER_NAME", 255)}},
        {"QXES_REQUEST",
         {text("SESSION_ID", 64), text("REQUEST_ID", 64), date("START_DATE_TIME"),
          date("END_DATE_TIME"), integer("REQUEST_STATUS"), text("USER_CLASS", 255),
          integer("REDISPATCH"), integer("REQUEST_TYPE"), text("ACTION", 32), text("MIRRORS", 1024),
          text("MESSAGE", 2000), text("MACHINE_NAME", 255), integer("MACHINE_PORT"),
          date("SERVER_START_DATE_TIME")}},
        {"QXES_ADMIN_SOURCE",
         {text("SESSION_ID", 64), text("REQUEST_ID", 64), text("SOURCE_NAME", 255),
          text("SOURCE_TYPE", 64)}},
        {"QXES_USER_SOURCE",
         {text("SESSION_ID", 64), text("SOURCE_NAME", 255), text("SOURCE_TYPE", 64),
          text("SOURCE_FILENAME", 1024)}},
        {"QXES_DIM_USAGE",
         {text("SESSION_ID", 64), text("REQUEST_ID", 64), text("DIM_CODE", 255),
          text("DIM_NAME", 255), count("DIM_COUNT")}},
        {"QXES_MEASURE_USAGE",
         {text("SESSION_ID", 64), text("REQUEST_ID", 64), text("MEASURE_CODE", 255),
          text("MEASURE_NAME", 255), count("MEASURE_COUNT")}},
        {"QXES_LEVEL_USAGE",
         {text("SESSION_ID", 64), text("REQUEST_ID", 64), text("DIM_CODE", 255),
          text("LEVEL_CODE", 255), text("LEVEL_NAME", 255), count("LEVEL_COUNT")}},
    };
    m_database.exec("INSERT INTO QXES_SESSION(SESSION_ID) VALUES ('present')");
    SQLDB& db = m_database.db();
    db.startTransaction();
    for (const auto& table : tables) {
        SCOPED_TRACE(table.first);
        SqlDA* descriptor = db.execute("SELECT * FROM " + table.first, SQLDB::kQuery);
        ASSERT_NE(descriptor, nullptr);
        EXPECT_TRUE(descriptor->row.empty());
        ASSERT_EQ(descriptor->columns.size(), table.second.size());
        for (size_t i = 0; i < table.second.size(); ++i) {
            const SqlDA::ColumnDescription& column = descriptor->columns.at(i);
            EXPECT_EQ(column.name, table.second.at(i).name);
            EXPECT_EQ(column.type, table.second.at(i).type) << column.name;
            EXPECT_EQ(column.length, table.second.at(i).length) << column.name;
        }
        db.freeRequest();
    }
    db.commit(1);
}

TEST_P(SqldbTest, DateLiteralsInTheAdvertisedFormAreStored) {
    SQLDB& db = m_database.db();
    std::string value = "2024-02-29 23:59:58.125";
    std::string literal =
        db.usesTypedDateLiterals() ? "TIMESTAMP '" + value + "'" : "'" + value + "'";
    EXPECT_EQ(db.usesTypedDateLiterals(), GetParam() == TestBackend::kPostgreSQL);
    db.startTransaction();
    Run("INSERT INTO QXES_DISPATCHER(SERVER_START_DATE_TIME, MACHINE_NAME) VALUES (" + literal +
        ", 'm1')");
    db.commit(1);
    std::vector<std::vector<std::string>> expected = {{value, "NULL"}};
    EXPECT_EQ(m_database.query("SELECT SERVER_START_DATE_TIME, MACHINE_PORT FROM QXES_DISPATCHER"),
              expected);
}

TEST_P(SqldbTest, MisuseRaisesTheSessionAssertions) {
    SQLDB& db = m_database.db();
    EXPECT_EQ(FailureText([&] { db.execute("SELECT * FROM QXES_SESSION", SQLDB::kQuery); }),
              "KRL_ASSERT(m_trHandle != NULL);");
    EXPECT_EQ(FailureText([&] { db.fetch(); }), "KRL_ASSERT(m_crHandle != NULL);");
    db.startTransaction();
    EXPECT_EQ(FailureText([&] { db.startTransaction(); }), "KRL_ASSERT(m_trHandle == NULL);");
    Run("INSERT INTO QXES_SESSION(SESSION_ID) VALUES ('s1')");
    EXPECT_EQ(FailureText([&] { db.fetch(); }), "KRL_ASSERT(m_crHandle != NULL);");
    db.commit(0);
}

TEST_P(SqldbTest, ConcurrentLoadersWaitForEachOtherInsteadOfFailing) {
    SQLDB& first = m_database.db();
    SQLDB second;
    second.connect(m_database.dbName(), m_database.connectString(), m_database.dbType(),
                   m_database.dbUser(), m_database.dbPassword());
    first.startTransaction();
    Run("INSERT INTO QXES_SESSION(SESSION_ID) VALUES ('first')");
    std::string secondFailure;
    std::thread other([&] {
        secondFailure = FailureText([&] {
            second.startTransaction();
            second.execute("INSERT INTO QXES_SESSION(SESSION_ID) VALUES ('second')",
                           SQLDB::kUpdate);
            second.freeRequest();
            second.commit(1);
        });
    });
    // Gives the second loader the chance to run into the first one's lock;
    // the outcome does not depend on it.
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    first.commit(1);
    other.join();
    EXPECT_EQ(secondFailure, "<no exception>");
    EXPECT_EQ(m_database.countRows("QXES_SESSION"), 2);
}

INSTANTIATE_TEST_SUITE_P(Backends, SqldbTest,
                         ::testing::Values(TestBackend::kSQLite, TestBackend::kPostgreSQL),
                         TestBackendName());

TEST(SqldbConnectTest, UnknownDatabaseTypeNamesTheSupportedOnes) {
    SQLDB db;
    std::string text = FailureText([&] { db.connect("audit", "", "OR", "u", "p"); });
    EXPECT_NE(text.find("\"OR\""), std::string::npos) << text;
    EXPECT_NE(text.find("\"SQ\""), std::string::npos) << text;
    EXPECT_NE(text.find("\"PG\""), std::string::npos) << text;
}

TEST(SqldbConnectTest, SqliteFileThatIsNoAuditDatabaseIsRefusedByName) {
    struct Case {
        const char* name;
        const char* content;  // NULL: the file does not exist
    };
    for (const Case& c : {Case{"missing file", nullptr}, Case{"text file", "not a database\n"}}) {
        SCOPED_TRACE(c.name);
        char dir[] = "/tmp/afp-missing-XXXXXX";
        ASSERT_NE(mkdtemp(dir), nullptr);
        std::string path = std::string(dir) + "/audit.db";
        if (c.content != nullptr) {
            std::ofstream(path) << c.content;
        }
        SQLDB db;
        std::string text = FailureText([&] { db.connect(path, "", "SQ", "u", "p"); });
        EXPECT_TRUE(StartsWith(text, "Attach to database failed with status -3. ")) << text;
        EXPECT_NE(text.find(path), std::string::npos) << text;
        EXPECT_EQ(FileExists(path), c.content != nullptr);
        for (const char* suffix : {"", "-wal", "-shm"}) {
            std::remove((path + suffix).c_str());
        }
        rmdir(dir);
    }
}

class PostgresSessionTest : public ::testing::Test {
  protected:
    void SetUp() override { AFP_REQUIRE_DATABASE(m_database); }

    std::string ServerPart() const {
        std::string connect = m_database.connectString();
        return connect.substr(0, connect.find(" user="));
    }

    TestDatabase m_database{TestBackend::kPostgreSQL};
};

TEST_F(PostgresSessionTest, UserAndPasswordWithBlanksAndQuotesAreQuoted) {
    std::string user = "afp o'user " + m_database.dbName();
    std::string password = "pa ss\\w'rd";
    std::string quotedUser = "\"afp o'user " + m_database.dbName() + "\"";
    m_database.exec("CREATE ROLE " + quotedUser + " LOGIN PASSWORD 'pa ss\\w''rd'");
    {
        SQLDB db;
        std::string description =
            db.connect(m_database.dbName(), m_database.connectString(), "PG", user, password);
        EXPECT_TRUE(StartsWith(description, "Database: " + m_database.dbName())) << description;
    }
    m_database.exec("DROP ROLE " + quotedUser);
}

TEST_F(PostgresSessionTest, ConnectStringWithOnePlaceholderGetsNoPassword) {
    SQLDB db;
    std::string text = FailureText([&] {
        db.connect(m_database.dbName(), ServerPart() + " user=%s", "PG", m_database.dbUser(),
                   m_database.dbPassword());
    });
    EXPECT_TRUE(StartsWith(text, "Attach to database failed with status -3. ")) << text;
}

TEST_F(PostgresSessionTest, ConnectStringWithoutPlaceholderLeavesTheRestToDefaults) {
    // With no "%s" the connect string is dropped whole, so even a host that
    // does not resolve is never tried: the client's defaults apply.
    struct Env {
        const char* name;
        std::string value;
    };
    std::string connect = m_database.connectString();
    std::string host = std::getenv("AFP_TEST_PG_HOST");
    std::string port = std::getenv("AFP_TEST_PG_PORT") ? std::getenv("AFP_TEST_PG_PORT") : "";
    const std::vector<Env> env = {{"PGHOST", host},
                                  {"PGPORT", port},
                                  {"PGUSER", m_database.dbUser()},
                                  {"PGPASSWORD", m_database.dbPassword()}};
    for (const Env& e : env) {
        setenv(e.name, e.value.c_str(), 1);
    }
    SQLDB db;
    std::string text = FailureText([&] {
        db.connect(m_database.dbName(), "host=no-such-host.invalid", "PG", "nobody", "wrong");
    });
    for (const Env& e : env) {
        unsetenv(e.name);
    }
    EXPECT_EQ(text, "<no exception>");
}

// Runs before the parameterised cases, which then use the recycled blocks too.
TEST(DataAccessLayerTest, SqliteBlocksKeepTheirContentsThroughEveryResize) {
    ASSERT_EQ(sqlite3_shutdown(), SQLITE_OK);  // so that the initialisation below applies
    ASSERT_GE(rdxProcessInitialize("qxesauditfileprocessor"), 0);
    // Sizes on both sides of every boundary: the granule, the largest recycled size.
    const std::vector<int> sizes = {1, 15, 16, 17, 500, 1023, 1024, 1025, 4096, 70000};
    for (int from : sizes) {
        for (int to : sizes) {
            SCOPED_TRACE(std::to_string(from) + " -> " + std::to_string(to));
            unsigned char* block = static_cast<unsigned char*>(sqlite3_malloc(from));
            ASSERT_NE(block, nullptr);
            ASSERT_GE(sqlite3_msize(block), static_cast<sqlite3_uint64>(from));
            for (int i = 0; i < from; ++i) {
                block[i] = static_cast<unsigned char>(i * 7 + from);
            }
            unsigned char* resized = static_cast<unsigned char*>(sqlite3_realloc(block, to));
            ASSERT_NE(resized, nullptr);
            EXPECT_GE(sqlite3_msize(resized), static_cast<sqlite3_uint64>(to));
            int kept = from < to ? from : to;
            int damaged = 0;
            for (int i = 0; i < kept; ++i) {
                damaged += resized[i] != static_cast<unsigned char>(i * 7 + from) ? 1 : 0;
            }
            EXPECT_EQ(damaged, 0);
            sqlite3_free(resized);
        }
    }
    // A freed block is handed out again, but never to two owners at once.
    std::vector<int*> blocks(300);
    for (int*& block : blocks) {
        block = static_cast<int*>(sqlite3_malloc(40));
        ASSERT_NE(block, nullptr);
    }
    for (size_t i = 0; i < blocks.size(); i += 2) {
        sqlite3_free(blocks[i]);
        blocks[i] = static_cast<int*>(sqlite3_malloc(33));  // the same rounded size
        ASSERT_NE(blocks[i], nullptr);
    }
    for (size_t i = 0; i < blocks.size(); ++i) {
        *blocks[i] = static_cast<int>(i);
    }
    int overwritten = 0;
    for (size_t i = 0; i < blocks.size(); ++i) {
        overwritten += *blocks[i] != static_cast<int>(i) ? 1 : 0;
        sqlite3_free(blocks[i]);
    }
    EXPECT_EQ(overwritten, 0);
}

TEST_F(PostgresSessionTest, FailedCommitIsRaisedAndEndsTheTransaction) {
    m_database.exec("CREATE TABLE DEFERRED_CHECK (X INTEGER UNIQUE DEFERRABLE INITIALLY DEFERRED)");
    SQLDB& db = m_database.db();
    db.startTransaction();
    db.execute("INSERT INTO DEFERRED_CHECK VALUES (1)", SQLDB::kUpdate);
    db.execute("INSERT INTO DEFERRED_CHECK VALUES (1)", SQLDB::kUpdate);
    std::string text = FailureText([&] { db.commit(1); });
    EXPECT_TRUE(StartsWith(text, "Commit failed with status -2. ")) << text;
    EXPECT_FALSE(db.isTransactionOpen());
    db.startTransaction();
    db.execute("INSERT INTO DEFERRED_CHECK VALUES (2)", SQLDB::kUpdate);
    db.commit(1);
    std::vector<std::vector<std::string>> expected = {{"2"}};
    EXPECT_EQ(m_database.query("SELECT X FROM DEFERRED_CHECK"), expected);
}

}  // namespace
