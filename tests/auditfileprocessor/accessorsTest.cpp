// The accessors against real databases: both backends must accept and refuse
// exactly the same rows.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "adminSourceTableAccess.h"
#include "dimUsageTableAccess.h"
#include "dispatcherTableAccess.h"
#include "levelUsageTableAccess.h"
#include "measureUsageTableAccess.h"
#include "requestTableAccess.h"
#include "sessionTableAccess.h"
#include "sqldbapi.h"
#include "table.h"
#include "tableAccessTestSupport.h"
#include "tableId.h"
#include "testDatabase.h"
#include "userSourceTableAccess.h"

namespace {

using Rows = std::vector<std::vector<std::string>>;

const char* const kTableNames[] = {
    "QXES_DISPATCHER",  "QXES_SESSION",   "QXES_REQUEST",       "QXES_ADMIN_SOURCE",
    "QXES_USER_SOURCE", "QXES_DIM_USAGE", "QXES_MEASURE_USAGE", "QXES_LEVEL_USAGE",
};

std::vector<ColumnData> Columns(const TableAccess& access) {
    std::vector<ColumnData> columns;
    access.GetColumnCollectionValues(columns);
    return columns;
}

class AccessorsTest : public ::testing::TestWithParam<TestBackend> {
  protected:
    void SetUp() override {
        AFP_REQUIRE_DATABASE(m_database);
        m_db = &m_database.db();
        m_db->startTransaction();
        // The catalogue as the loader reads it: an empty query per table.
        for (const char* name : kTableNames) {
            Table table(name);
            SqlDA* descriptor = m_db->execute(std::string("SELECT * FROM ") + name, SQLDB::kQuery);
            ASSERT_NE(descriptor, nullptr) << name;
            for (const SqlDA::ColumnDescription& column : descriptor->columns) {
                table.columns.emplace_back(column.name, column.type, column.length);
            }
            m_db->freeRequest();
            m_tables.push_back(table);
        }
    }

    const Table* table(TableId id) const { return &m_tables.at(id); }
    bool typedDates() const { return GetParam() == TestBackend::kPostgreSQL; }
    void Commit() {
        m_db->commit(1);
        m_db->startTransaction();
    }

    TestDatabase m_database{GetParam()};
    SQLDB* m_db = nullptr;
    std::vector<Table> m_tables;
};

TEST_P(AccessorsTest, AccessorsFollowTheDescribedTablesColumnForColumn) {
    const std::pair<TableId, std::vector<ColumnData>> accessors[] = {
        {kDispatcherTable, Columns(DispatcherTableAccess(table(kDispatcherTable)))},
        {kSessionTable, Columns(SessionTableAccess(table(kSessionTable)))},
        {kRequestTable, Columns(RequestTableAccess(table(kRequestTable)))},
        {kAdminSourceTable, Columns(AdminSourceTableAccess(table(kAdminSourceTable)))},
        {kUserSourceTable, Columns(UserSourceTableAccess(table(kUserSourceTable)))},
        {kDimUsageTable, Columns(DimUsageTableAccess(table(kDimUsageTable)))},
        {kMeasureUsageTable, Columns(MeasureUsageTableAccess(table(kMeasureUsageTable)))},
        {kLevelUsageTable, Columns(LevelUsageTableAccess(table(kLevelUsageTable)))},
    };
    for (const auto& accessor : accessors) {
        const Table& described = *table(accessor.first);
        ASSERT_EQ(accessor.second.size(), described.columns.size()) << described.name;
        for (size_t i = 0; i < described.columns.size(); ++i) {
            const ColumnData& column = accessor.second[i];
            const Column& dbColumn = described.columns[i];
            EXPECT_EQ(column.GetName(), dbColumn.name) << described.name;
            const bool typeMatches =
                column.GetType() == ColumnType::kDate ? dbColumn.type == kSqlColTimestamp
                : column.GetType() == ColumnType::kText
                    ? dbColumn.type == kSqlColText
                    : dbColumn.type == kSqlColInteger || dbColumn.type == kSqlColBigInt;
            EXPECT_TRUE(typeMatches) << described.name << "." << dbColumn.name;
        }
    }
}

TEST_P(AccessorsTest, FailedStatementsReportResultsAndSpareTheirNeighbours) {
    SessionTableAccess first(table(kSessionTable));
    first.m_sessionId.SetValue("s1");
    first.m_userName.SetValue("ann");
    SessionTableAccess second(table(kSessionTable));
    second.m_sessionId.SetValue("s2");
    SessionTableAccess unset(table(kSessionTable));  // a NOT NULL key left null
    DispatcherTableAccess dispatcher(table(kDispatcherTable));
    dispatcher.m_serverStartDateTime.SetValue("2011-03-04 17:05:09.000");
    dispatcher.m_machineName.SetValue("srv1");
    dispatcher.m_machinePort.SetValue("8080");

    EXPECT_EQ(second.Select(m_db), 0);
    EXPECT_TRUE(first.Insert(m_db));
    EXPECT_EQ(first.Select(m_db), 1);
    EXPECT_FALSE(first.Insert(m_db));  // duplicate key
    EXPECT_FALSE(unset.Insert(m_db));
    EXPECT_TRUE(second.Insert(m_db));
    EXPECT_TRUE(dispatcher.Insert(m_db));
    EXPECT_EQ(dispatcher.Select(m_db), -1);  // the table has no SESSION_ID to read
    EXPECT_EQ(second.Select(m_db), 1);
    Commit();
    EXPECT_EQ(m_database.query("SELECT SESSION_ID, USER_NAME FROM QXES_SESSION ORDER BY 1"),
              (Rows{{"s1", "ann"}, {"s2", "NULL"}}));
    EXPECT_EQ(m_database.countRows("QXES_DISPATCHER"), 1);
}

TEST_P(AccessorsTest, UpdateWritesOnlyKnownValuesAndAMissingRowIsNoFailure) {
    RequestTableAccess request(table(kRequestTable));
    request.m_sessionId.SetValue("s1");
    request.m_requestId.SetValue("r1");
    request.m_startDateTime.SetValue("2011-03-04 17:05:09.123");
    request.m_requestStatus.SetValue("0");
    ASSERT_TRUE(request.Insert(m_db));
    RequestTableAccess missing(table(kRequestTable));
    missing.m_sessionId.SetValue("s1");
    missing.m_requestId.SetValue("r9");
    RequestTableAccess completion(table(kRequestTable));
    completion.m_endDateTime.SetValue("2011-03-04 17:06:00.5");
    completion.m_requestStatus.SetValue("1");

    SqlDumpCapture dump;
    EXPECT_TRUE(request.Update(m_db, completion));
    EXPECT_TRUE(missing.Update(m_db, completion));
    const std::string setEnd = std::string("\nUPDATE QXES_REQUEST SET END_DATE_TIME=") +
                               (typedDates() ? "TIMESTAMP " : "") + "'2011-03-04 17:06:00.5', ";
    EXPECT_EQ(dump.Text().rfind(setEnd, 0), 0u) << dump.Text();
    Commit();
    EXPECT_EQ(m_database.query("SELECT REQUEST_ID, START_DATE_TIME, END_DATE_TIME, "
                               "REQUEST_STATUS FROM QXES_REQUEST"),
              (Rows{{"r1", "2011-03-04 17:05:09.123", "2011-03-04 17:06:00.5", "1"}}));
}

TEST_P(AccessorsTest, QuotedTextCannotRewriteAnotherRowsCondition) {
    const std::string injection = "x' OR 'a'='a";
    UserSourceTableAccess other(table(kUserSourceTable));
    other.m_sessionId.SetValue("s1");
    other.m_sourceName.SetValue("other");
    other.m_sourceType.SetValue("t");
    other.m_sourceFilename.SetValue("f1");
    ASSERT_TRUE(other.Insert(m_db));
    UserSourceTableAccess quoted(table(kUserSourceTable));
    quoted.SetColumnCollectionValues(Columns(other));
    quoted.m_sourceName.SetValue(injection);
    UserSourceTableAccess rename(table(kUserSourceTable));
    rename.m_sourceFilename.SetValue("O'Hara");

    EXPECT_EQ(quoted.Select(m_db), 0);
    EXPECT_TRUE(quoted.Update(m_db, rename));  // must not reach the other row
    EXPECT_TRUE(quoted.Insert(m_db));
    EXPECT_TRUE(quoted.Update(m_db, rename));
    EXPECT_EQ(quoted.Select(m_db), 1);
    Commit();
    EXPECT_EQ(m_database.query("SELECT SOURCE_NAME, SOURCE_FILENAME FROM QXES_USER_SOURCE "
                               "ORDER BY 1"),
              (Rows{{"other", "f1"}, {injection, "O'Hara"}}));
}

TEST_P(AccessorsTest, MalformedValuesAreDumpedButNeverRun) {
    RequestTableAccess stored(table(kRequestTable));
    stored.m_sessionId.SetValue("s1");
    stored.m_requestId.SetValue("r0");
    stored.m_requestStatus.SetValue("1");
    ASSERT_TRUE(stored.Insert(m_db));
    const std::pair<ColumnData RequestTableAccess::*, std::string> cases[] = {
        {&RequestTableAccess::m_requestStatus, "12a"},
        {&RequestTableAccess::m_requestStatus, ""},
        {&RequestTableAccess::m_requestStatus, "-"},
        {&RequestTableAccess::m_requestStatus, "99999999999"},
        {&RequestTableAccess::m_requestStatus, "2 OR 1=1"},
        {&RequestTableAccess::m_startDateTime, "2011-02-30 10:00:00"},
        {&RequestTableAccess::m_startDateTime, "2011-03-04:17:05:09"},
        {&RequestTableAccess::m_startDateTime, "2011-03-04 17:05:09.1234567"},
        {&RequestTableAccess::m_message, std::string("before\0after", 12)},
    };
    SqlDumpCapture dump;
    for (const auto& c : cases) {
        RequestTableAccess change(table(kRequestTable));
        (change.*c.first).SetValue(c.second);
        EXPECT_FALSE(stored.Update(m_db, change)) << c.second;
        change.m_sessionId.SetValue("s1");
        change.m_requestId.SetValue("r1");
        EXPECT_FALSE(change.Insert(m_db)) << c.second;
        const std::string dumped = dump.Text();
        const size_t update = dumped.rfind("\nUPDATE QXES_REQUEST SET ");
        const size_t insert = dumped.rfind("\nINSERT INTO QXES_REQUEST(");
        ASSERT_TRUE(update != std::string::npos && insert != std::string::npos && update < insert);
        EXPECT_LT(dumped.find(c.second, update), insert);
        EXPECT_NE(dumped.find(c.second, insert), std::string::npos);
    }
    // The same digits fit a BIGINT column.
    DimUsageTableAccess usage(table(kDimUsageTable));
    usage.m_sessionId.SetValue("s1");
    usage.m_requestId.SetValue("r1");
    usage.m_dimCode.SetValue("3");
    usage.m_dimCount.SetValue("99999999999");
    EXPECT_TRUE(usage.Insert(m_db));
    Commit();
    EXPECT_EQ(m_database.query("SELECT REQUEST_ID, REQUEST_STATUS FROM QXES_REQUEST"),
              (Rows{{"r0", "1"}}));
    EXPECT_EQ(m_database.query("SELECT DIM_COUNT FROM QXES_DIM_USAGE"), (Rows{{"99999999999"}}));
}

INSTANTIATE_TEST_SUITE_P(Backends, AccessorsTest,
                         ::testing::Values(TestBackend::kSQLite, TestBackend::kPostgreSQL),
                         TestBackendName());

}  // namespace
