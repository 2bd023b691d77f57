// The database session against real databases: every case runs on SQLite and
// on PostgreSQL.
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "../../support/processRunner.h"
#include "boundStatement.h"
#include "sqldbapi.h"
#include "testDatabase.h"
#include "thrown.h"

namespace {

using namespace std::string_literals;

bool StartsWith(const std::string& text, const std::string& prefix) {
    return text.compare(0, prefix.size(), prefix) == 0;
}

class SqldbTest : public ::testing::TestWithParam<TestBackend> {
  protected:
    void SetUp() override { AFP_REQUIRE_DATABASE(m_database); }

    void Run(const std::string& statement) {
        m_database.db().execute(statement, SQLDB::kUpdate);
        m_database.db().freeRequest();
    }

    TestDatabase m_database{GetParam()};
};

TEST_P(SqldbTest, CommitKeepsTheBatchRollbackAndDisconnectDiscardIt) {
    const std::pair<std::function<void(SQLDB&)>, long long> cases[] = {
        {[](SQLDB& db) { db.commit(1); }, 1},
        {[](SQLDB& db) { db.commit(0); }, 0},
        {[](SQLDB& db) { db.disconnect(); }, 0},
    };
    for (const auto& c : cases) {
        m_database.exec("DELETE FROM QXES_SESSION");
        SQLDB& db = m_database.db();
        db.startTransaction();
        Run("INSERT INTO QXES_SESSION(SESSION_ID) VALUES ('s1')");
        EXPECT_EQ(m_database.countRows("QXES_SESSION"), 0);  // not visible before the end
        c.first(db);
        EXPECT_FALSE(db.isTransactionOpen());
        EXPECT_EQ(m_database.countRows("QXES_SESSION"), c.second);
        db.commit(1);  // nothing open: nothing happens
    }
}

// A statement refused for its values is -1; one that cannot run whatever its
// values (a missing table, a syntax error, two statements) is -4, which stops
// a file. Either way its neighbours stay in the transaction.
TEST_P(SqldbTest, FailingStatementKeepsItsNeighboursInTheTransaction) {
    const std::string kExecuteFailed = "sqlExecute failed with status -1. ";
    const std::string kPrepareFailed = "Prepare failed with status -1. ";
    const std::string kPrepareCannotRun = "Prepare failed with status -4. ";
    const struct {
        std::string statement;
        SQLDB::eRequestType type;
        std::string expectedPrefix;
    } cases[] = {
        {"INSERT INTO QXES_SESSION(SESSION_ID) VALUES ('before')", SQLDB::kUpdate, kExecuteFailed},
        {"INSERT INTO QXES_SESSION(SESSION_ID) VALUES (NULL)", SQLDB::kUpdate, kExecuteFailed},
        {"INSERT INTO QXES_SESSION(SESSION_ID) VALUES ('x'", SQLDB::kUpdate, kPrepareCannotRun},
        {"-- nothing to run", SQLDB::kUpdate, kPrepareCannotRun},
        {"SELECT * FROM QXES_NO_SUCH_TABLE", SQLDB::kQuery, kPrepareCannotRun},
        {"INSERT INTO QXES_SESSION(SESSION_ID) VALUES ('x'); DELETE FROM QXES_SESSION",
         SQLDB::kUpdate, kPrepareCannotRun},
        // A client library that reads the text as a C string would run the first part alone.
        {"INSERT INTO QXES_SESSION(SESSION_ID) VALUES ('x')\0DELETE FROM QXES_SESSION"s,
         SQLDB::kUpdate, kPrepareFailed},
        {"INSERT INTO QXES_SESSION(SESSION_ID) VALUES ('x\0y')"s, SQLDB::kUpdate, kPrepareFailed},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.statement);
        m_database.exec("DELETE FROM QXES_SESSION");
        SQLDB& db = m_database.db();
        db.startTransaction();
        Run("INSERT INTO QXES_SESSION(SESSION_ID) VALUES ('before')");
        const std::string text = Thrown([&] { db.execute(c.statement, c.type); });
        EXPECT_TRUE(StartsWith(text, c.expectedPrefix)) << text;
        EXPECT_GT(text.size(), c.expectedPrefix.size()) << "the database's reason is missing";
        EXPECT_EQ(db.lastStatus(), c.expectedPrefix == kPrepareCannotRun ? -4 : -1);
        db.freeRequest();
        Run("INSERT INTO QXES_SESSION(SESSION_ID) VALUES ('after')");
        db.commit(1);
        EXPECT_EQ(m_database.query("SELECT SESSION_ID FROM QXES_SESSION ORDER BY 1"),
                  (Rows{{"after"}, {"before"}}));
    }
}

// A bound value stores exactly what its literal stores, in any column: the
// same value and, on SQLite, the same storage class.
TEST_P(SqldbTest, BoundValuesStoreWhatTheirLiteralsStore) {
    using B = BoundStatement;
    const bool typedDates = m_database.dbType() == "PG";
    const struct {
        B::Type type;
        std::string column, value, literal;
    } cases[] = {
        {B::kText, "MESSAGE", "O'Hara", "'O''Hara'"},
        {B::kText, "MESSAGE", "NULL", "NULL"},
        {B::kText, "REQUEST_STATUS", "42", "'42'"},
        {B::kInteger, "REQUEST_STATUS", "-0042", "-0042"},
        {B::kBigInt, "MESSAGE", "9223372036854775807", "9223372036854775807"},
        {B::kTimestamp, "START_DATE_TIME", "2011-03-04 17:05:09.5",
         (typedDates ? "TIMESTAMP " : "") + "'2011-03-04 17:05:09.5'"s},
    };
    SQLDB& db = m_database.db();
    for (const auto& c : cases) {
        SCOPED_TRACE(c.value);
        m_database.exec("DELETE FROM QXES_REQUEST");
        db.startTransaction();
        const std::string head = "INSERT INTO QXES_REQUEST(SESSION_ID, REQUEST_ID, " + c.column;
        Run(head + ") VALUES ('s', 'literal', " + c.literal + ")");
        BoundStatement bound;
        bound.setShape(head + ") VALUES ('s', 'bound', $1)");
        bound.addValue(c.type, c.value == "NULL", c.value);
        db.execute(bound, SQLDB::kUpdate);
        db.commit(1);
        const std::string storage = typedDates ? "" : ", typeof(" + c.column + ")";
        const Rows rows = m_database.query("SELECT " + c.column + storage +
                                           " FROM QXES_REQUEST ORDER BY REQUEST_ID");
        ASSERT_EQ(rows.size(), 2u);
        EXPECT_EQ(rows[0], rows[1]);
    }
}

// Statements sent ahead report a failure when they are run, and the line that
// sent them is undone alone.
TEST_P(SqldbTest, StatementsSentAheadFailWithTheirLineOnly) {
    SQLDB& db = m_database.db();
    db.startTransaction();
    Run("INSERT INTO QXES_SESSION(SESSION_ID) VALUES ('before')");
    for (const std::string second : {"before", "s2"}) {
        db.beginLine();
        for (const std::string& id : {"s1"s, second}) {
            BoundStatement insert;
            insert.setShape("INSERT INTO QXES_SESSION(SESSION_ID) VALUES ($1)");
            insert.addValue(BoundStatement::kText, false, id);
            db.executeAhead(insert);
        }
        const bool ran = db.runAhead();
        EXPECT_EQ(ran, second == "s2");
        EXPECT_EQ(db.lastStatus(), ran ? 0 : -1);
        db.endLine(ran);
    }
    db.commit(1);
    EXPECT_EQ(m_database.query("SELECT SESSION_ID FROM QXES_SESSION ORDER BY 1"),
              (Rows{{"before"}, {"s1"}, {"s2"}}));
}

AFP_ON_BOTH_BACKENDS(SqldbTest);

TEST(SqldbConnectTest, UnknownTypeAndSqliteFilesThatAreNoAuditDatabaseAreRefusedByName) {
    SQLDB db;
    const std::string text = Thrown([&] { db.connect("audit", "", "OR", "u", "p"); });
    for (const char* type : {"\"OR\"", "\"SQ\"", "\"PG\""}) {
        EXPECT_NE(text.find(type), std::string::npos) << text;
    }
    for (const char* content : {"", "not a database\n"}) {  // "": no file at all
        ScratchDirectory dir;
        const std::string path = dir / "audit.db";
        if (*content != '\0') {
            WriteFile(path, content);
        }
        SQLDB sqlite;
        const std::string refused = Thrown([&] { sqlite.connect(path, "", "SQ", "u", "p"); });
        EXPECT_TRUE(StartsWith(refused, "Attach to database failed with status -3. ")) << refused;
        EXPECT_NE(refused.find(path), std::string::npos) << refused;
        EXPECT_EQ(std::filesystem::exists(path), *content != '\0') << "created: " << path;
    }
}

class PostgresSessionTest : public ::testing::Test {
  protected:
    void SetUp() override { AFP_REQUIRE_DATABASE(m_database); }

    TestDatabase m_database{TestBackend::kPostgreSQL};
};

TEST_F(PostgresSessionTest, UserAndPasswordAreQuotedAndNeedBothPlaceholders) {
    const std::string user = "afp o'user " + m_database.dbName();
    const std::string connect = m_database.connectString();
    m_database.exec("CREATE ROLE \"" + user + "\" LOGIN PASSWORD 'pa ss\\w''rd'");
    {
        SQLDB db;
        const std::string description =
            db.connect(m_database.dbName(), connect, "PG", user, "pa ss\\w'rd");
        EXPECT_TRUE(StartsWith(description, "Database: " + m_database.dbName())) << description;
    }
    m_database.exec("DROP ROLE \"" + user + "\"");
    // With one "%s" the user is filled in, but the password is never given.
    SQLDB db;
    const std::string text = Thrown([&] {
        db.connect(m_database.dbName(), connect.substr(0, connect.find(" user=")) + " user=%s",
                   "PG", m_database.dbUser(), m_database.dbPassword());
    });
    EXPECT_TRUE(StartsWith(text, "Attach to database failed with status -3. ")) << text;
}

TEST_F(PostgresSessionTest, FailedCommitIsRaisedAndEndsTheTransaction) {
    m_database.exec("CREATE TABLE DEFERRED_CHECK (X INTEGER UNIQUE DEFERRABLE INITIALLY DEFERRED)");
    SQLDB& db = m_database.db();
    db.startTransaction();
    db.execute("INSERT INTO DEFERRED_CHECK VALUES (1)", SQLDB::kUpdate);
    db.execute("INSERT INTO DEFERRED_CHECK VALUES (1)", SQLDB::kUpdate);
    const std::string text = Thrown([&] { db.commit(1); });
    EXPECT_TRUE(StartsWith(text, "Commit failed with status -2. ")) << text;
    EXPECT_FALSE(db.isTransactionOpen());
    db.startTransaction();
    db.execute("INSERT INTO DEFERRED_CHECK VALUES (2)", SQLDB::kUpdate);
    db.commit(1);
    EXPECT_EQ(m_database.query("SELECT X FROM DEFERRED_CHECK"), (Rows{{"2"}}));
}

}  // namespace
