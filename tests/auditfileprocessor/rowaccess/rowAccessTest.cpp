// Row access: value checks and statement text without a database, then the
// accessors against real databases, where both backends must accept and
// refuse exactly the same rows.
#include <gtest/gtest.h>

#include <cstdio>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "../../support/messageCapture.h"
#include "adminSourceTableAccess.h"
#include "cppWebException.h"
#include "dimUsageTableAccess.h"
#include "dispatcherTableAccess.h"
#include "levelUsageTableAccess.h"
#include "measureUsageTableAccess.h"
#include "programGlobals.h"
#include "requestTableAccess.h"
#include "sessionTableAccess.h"
#include "table.h"
#include "tableCatalogue.h"
#include "tableId.h"
#include "testDatabase.h"
#include "userSourceTableAccess.h"

namespace {

// Points the SQL dump at a temporary file for the lifetime of the object.
class SqlDumpCapture {
  public:
    SqlDumpCapture() : m_file(std::tmpfile()) { g_SQLDumpFile = m_file; }
    ~SqlDumpCapture() {
        g_SQLDumpFile = nullptr;
        std::fclose(m_file);
    }
    std::string Text() const {
        std::string text(static_cast<size_t>(std::ftell(m_file)), '\0');
        std::rewind(m_file);
        text.resize(std::fread(&text[0], 1, text.size(), m_file));
        return text;
    }

  private:
    FILE* m_file;
};

std::vector<ColumnData> Columns(const TableAccess& access) {
    std::vector<ColumnData> columns;
    access.GetColumnCollectionValues(columns);
    return columns;
}

// Text columns of width 8 (described length 10) keep the cases short.
Table RequestTable() {
    Table table("QXES_REQUEST");
    for (const char* name : {"SESSION_ID", "REQUEST_ID", "MESSAGE", "MACHINE_NAME"}) {
        table.columns.emplace_back(name, kSqlColText, 10);
    }
    table.columns.emplace_back("REQUEST_STATUS", kSqlColInteger, 4);
    return table;
}

TEST(TableAccess, TextWidthIsCheckedAtTheBoundaryWithoutSplittingACharacter) {
    const std::string e = "\xC3\xA9", grin = "\xF0\x9F\x98\x80";
    const std::string cut = "AFP-0030 AFP-0031 AFP-0033", refused = "AFP-0030 AFP-0032 AFP-0033";
    const struct {
        ColumnKey key;
        std::string value;
        std::string kept;  // empty when the value is refused
        std::string messages;
    } cases[] = {
        {ColumnKey::kKey, "abcdefgh", "abcdefgh", ""},
        {ColumnKey::kOrdinary, "abcdefghi", "abcdefgh", cut},
        {ColumnKey::kKey, "abcdefghi", "", refused},
        {ColumnKey::kReference, "abcdefghi", "", refused},
        {ColumnKey::kOrdinary, "abcdefg" + e, "abcdefg", cut},
        {ColumnKey::kOrdinary, "abcde" + grin, "abcde", cut},
        {ColumnKey::kOrdinary, "abcdef" + e + "x", "abcdef" + e, cut},
        {ColumnKey::kOrdinary, "a" + std::string(9, '\x80'), "a" + std::string(7, '\x80'), cut},
        {ColumnKey::kOrdinary, "abcdefg'", "abcdefg''", ""},  // doubled after the check
    };
    const Table requests = RequestTable();
    RequestTableAccess access(&requests);
    g_CurrentAuditFile = "/audit/qxes_audit.0001";
    for (const auto& c : cases) {
        SCOPED_TRACE(c.value);
        MessageCapture messages;
        std::string value = c.value;
        try {
            access.ValidateTextColumnValue(&requests, "MESSAGE", value, c.key);
            EXPECT_EQ(value, c.kept);
        } catch (const CPPWebException& error) {
            EXPECT_EQ(c.kept, "");
            EXPECT_EQ(error.getErrorCode(), 1);
        }
        const std::string shown = messages.Text();
        std::string numbers;
        const std::regex number("^AFP-[0-9]{4}:", std::regex::multiline);
        for (std::sregex_iterator m(shown.begin(), shown.end(), number), end; m != end; ++m) {
            numbers += (numbers.empty() ? "" : " ") + m->str().substr(0, 8);
        }
        EXPECT_EQ(numbers, c.messages) << shown;
        for (const std::string& insert : {std::string("MESSAGE"), g_CurrentAuditFile, requests.name,
                                          std::to_string(c.value.size())}) {
            EXPECT_EQ(shown.find(insert) != std::string::npos, !c.messages.empty()) << shown;
        }
    }
    g_CurrentAuditFile.clear();

    // A column the catalogue does not know is never cut, but still escaped.
    std::string unknown = std::string(300, 'a') + "'";
    access.ValidateTextColumnValue(&requests, "NOT_A_COLUMN", unknown, ColumnKey::kKey);
    EXPECT_EQ(unknown, std::string(300, 'a') + "''");
}

TEST(TableAccess, OverlongKeysStopInsertAndUpdateButNotSelect) {
    const Table requests = RequestTable();
    SqlDumpCapture dump;
    MessageCapture messages;
    RequestTableAccess longKey(&requests);
    longKey.m_sessionId.SetValue("session-too-long");
    EXPECT_THROW(longKey.Insert(nullptr), CPPWebException);
    RequestTableAccess longReference(&requests);
    longReference.m_machineName.SetValue("machine-too-long");
    EXPECT_THROW(longReference.Update(nullptr, longReference), CPPWebException);
    EXPECT_EQ(dump.Text(), "");
    EXPECT_EQ(longKey.Select(nullptr), -1);  // the database simply finds no such row
    EXPECT_NE(dump.Text().find("SESSION_ID='session-too-long'"), std::string::npos);
}

// The accessors over the catalogue that the loader reads from the database.
class AccessorsTest : public ::testing::TestWithParam<TestBackend> {
  protected:
    void SetUp() override {
        AFP_REQUIRE_DATABASE(m_database);
        m_db = &m_database.db();
        m_catalogue.Describe(m_db);
        ASSERT_FALSE(m_db->isTransactionOpen());  // reading it leaves nothing open
        m_db->startTransaction();
    }

    const Table* table(int id) { return m_catalogue.TableFor(static_cast<TableId>(id)); }
    void Commit() {
        m_db->commit(1);
        m_db->startTransaction();
    }

    TestDatabase m_database{GetParam()};
    SQLDB* m_db = nullptr;
    TableCatalogue m_catalogue;
};

TEST_P(AccessorsTest, CatalogueDescribesEveryAuditTableAndTheAccessorsFollowIt) {
    // Each column as NAME:TYPE, TYPE being D (timestamp), I (integer), B (bigint) or the
    // declared width of a VARCHAR. The accessors' own columns and literal forms
    // are pinned by the handlers' end-to-end statements.
    const char* const expected[] = {
        "SERVER_START_DATE_TIME:D MACHINE_NAME:255 MACHINE_PORT:I TIME_ZONE:64 QXES_VERSION:255 "
        "LOGFILE_VERSION:I LOGFILE_GENERATION:I",
        "SESSION_ID:64 USER_NAME:255",
        "SESSION_ID:64 REQUEST_ID:64 START_DATE_TIME:D END_DATE_TIME:D REQUEST_STATUS:I "
        "USER_CLASS:255 REDISPATCH:I REQUEST_TYPE:I ACTION:32 MIRRORS:1024 MESSAGE:2000 "
        "MACHINE_NAME:255 MACHINE_PORT:I SERVER_START_DATE_TIME:D",
        "SESSION_ID:64 REQUEST_ID:64 SOURCE_NAME:255 SOURCE_TYPE:64",
        "SESSION_ID:64 SOURCE_NAME:255 SOURCE_TYPE:64 SOURCE_FILENAME:1024",
        "SESSION_ID:64 REQUEST_ID:64 DIM_CODE:255 DIM_NAME:255 DIM_COUNT:B",
        "SESSION_ID:64 REQUEST_ID:64 MEASURE_CODE:255 MEASURE_NAME:255 MEASURE_COUNT:B",
        "SESSION_ID:64 REQUEST_ID:64 DIM_CODE:255 LEVEL_CODE:255 LEVEL_NAME:255 LEVEL_COUNT:B",
    };
    const std::vector<ColumnData> accessors[] = {
        Columns(DispatcherTableAccess(table(kDispatcherTable))),
        Columns(SessionTableAccess(table(kSessionTable))),
        Columns(RequestTableAccess(table(kRequestTable))),
        Columns(AdminSourceTableAccess(table(kAdminSourceTable))),
        Columns(UserSourceTableAccess(table(kUserSourceTable))),
        Columns(DimUsageTableAccess(table(kDimUsageTable))),
        Columns(MeasureUsageTableAccess(table(kMeasureUsageTable))),
        Columns(LevelUsageTableAccess(table(kLevelUsageTable))),
    };
    for (int t = kDispatcherTable; t <= kLevelUsageTable; ++t) {
        std::string described;
        ASSERT_EQ(table(t)->name, kAuditTables[t]);
        for (const Column& c : table(t)->columns) {
            described += (described.empty() ? "" : " ") + c.name + ":" +
                         (c.type == kSqlColTimestamp && c.length == 8 ? "D"
                          : c.type == kSqlColInteger && c.length == 4 ? "I"
                          : c.type == kSqlColBigInt && c.length == 8  ? "B"
                          : c.type == kSqlColText                     ? std::to_string(c.length - 2)
                                                                      : "?");
        }
        EXPECT_EQ(described, expected[t]) << kAuditTables[t];
    }
    // Every statement finds its rows by session, so that a database distributed
    // by SESSION_ID runs it on one node; the dispatcher is a reference table.
    SqlDumpCapture dump;
    for (int t = kSessionTable; t <= kLevelUsageTable; ++t) {
        std::vector<ColumnData> row = accessors[t];
        for (ColumnData& c : row) {
            c.SetValue(c.GetType() == ColumnType::kDate ? "2011-03-04 17:05:09" : "1");
        }
        TableAccess::ColumnList columns;
        for (const ColumnData& c : row) {
            columns.push_back(&c);
        }
        SessionTableAccess accessor(table(t));
        TableAccess& access = accessor;
        access.Insert(nullptr, columns);
        access.Update(nullptr, columns, columns);
        access.Select(nullptr, columns);
    }
    const std::regex sessionKey(
        "^(INSERT INTO \\w+\\(SESSION_ID, .*|.* WHERE SESSION_ID='1'( AND .*)?)$");
    std::istringstream statements(dump.Text());
    int count = 0;
    for (std::string line; std::getline(statements, line);) {
        count += line.empty() ? 0 : 1;
        EXPECT_TRUE(line.empty() || std::regex_match(line, sessionKey)) << line;
    }
    EXPECT_EQ(count, 3 * 7);
    // Describing a table reads none of its rows.
    SessionTableAccess present(table(kSessionTable));
    present.m_sessionId.SetValue("present");
    ASSERT_TRUE(present.Insert(m_db));
    EXPECT_TRUE(m_db->execute("SELECT * FROM QXES_SESSION", SQLDB::kQuery)->row.empty());
    m_db->freeRequest();
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
                               (GetParam() == TestBackend::kPostgreSQL ? "TIMESTAMP " : "") +
                               "'2011-03-04 17:06:00.5', ";
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

    EXPECT_TRUE(quoted.Update(m_db, rename));  // nothing to set: no statement at all
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

TEST_P(AccessorsTest, OnlyWholeNumbersInRangeAndRealDatesAreRunOthersAreOnlyDumped) {
    using R = RequestTableAccess;
    const struct {
        ColumnData R::*column;
        std::vector<std::string> accepted, refused;
    } cases[] = {
        {&R::m_requestStatus,
         {"NULL", "-0042", "2147483647", "-2147483648"},
         {"2147483648", "", "-", "12a", "+1", "1.5", "null", "2 OR 1=1"}},
        {&R::m_startDateTime,
         {"NULL", "2011-03-04 17:05:09.123456", "2012-02-29 23:59:59"},
         {"2011-03-04 17:05:09.1234567", "2011-03-04 17:05:09.", "2011-03-04:17:05:09",
          "2011-02-29 10:00:00", "1900-02-29 10:00:00", "2011-04-31 10:00:00",
          "0000-01-01 10:00:00", "2011-01-01 24:00:00", "2011-01-01 23:59:60", "2011-01-01"}},
        {&R::m_message, {"x"}, {std::string("before\0after", 12)}},
    };
    RequestTableAccess stored(table(kRequestTable));
    stored.m_sessionId.SetValue("s1");
    stored.m_requestId.SetValue("r0");
    ASSERT_TRUE(stored.Insert(m_db));
    SqlDumpCapture dump;
    long long rows = 1;
    for (const auto& c : cases) {
        for (bool valid : {true, false}) {
            for (const std::string& value : valid ? c.accepted : c.refused) {
                SCOPED_TRACE(value);
                RequestTableAccess change(table(kRequestTable));
                (change.*c.column).SetValue(value);
                EXPECT_EQ(stored.Update(m_db, change), valid);
                change.m_sessionId.SetValue("s1");
                change.m_requestId.SetValue("r" + std::to_string(++rows));
                EXPECT_EQ(change.Insert(m_db), valid);
                if (valid) {
                    continue;
                }
                const std::string dumped = dump.Text();
                const size_t update = dumped.rfind("\nUPDATE QXES_REQUEST SET ");
                const size_t insert = dumped.rfind("\nINSERT INTO QXES_REQUEST(");
                ASSERT_TRUE(update != std::string::npos && update < insert);
                EXPECT_LT(dumped.find(value, update), insert);
                EXPECT_NE(dumped.find(value, insert), std::string::npos);
            }
        }
    }
    DimUsageTableAccess usage(table(kDimUsageTable));
    usage.m_sessionId.SetValue("s1");
    usage.m_requestId.SetValue("r1");
    usage.m_dimCode.SetValue("3");
    usage.m_dimCount.SetValue("9223372036854775808");
    EXPECT_FALSE(usage.Insert(m_db));
    usage.m_dimCount.SetValue("9223372036854775807");
    EXPECT_TRUE(usage.Insert(m_db));
    Commit();
    // Each refused value came after the accepted ones of its column.
    EXPECT_EQ(m_database.query("SELECT REQUEST_STATUS, START_DATE_TIME, MESSAGE FROM QXES_REQUEST "
                               "WHERE REQUEST_ID = 'r0'"),
              (Rows{{"-2147483648", "2012-02-29 23:59:59", "x"}}));
    EXPECT_EQ(m_database.countRows("QXES_REQUEST"), 1 + 4 + 3 + 1);
    EXPECT_EQ(m_database.query("SELECT DIM_COUNT FROM QXES_DIM_USAGE"),
              (Rows{{"9223372036854775807"}}));
}

AFP_ON_BOTH_BACKENDS(AccessorsTest);

}  // namespace
