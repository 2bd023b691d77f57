#include "tableAccess.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "../support/messageCapture.h"
#include "cppWebException.h"
#include "krlAssertError.h"
#include "programGlobals.h"
#include "requestTableAccess.h"
#include "sessionTableAccess.h"
#include "table.h"
#include "tableAccessTestSupport.h"
#include "userSourceTableAccess.h"

namespace {

// Text columns of width 8 (described length 10) keep the cases short.
Table RequestTable() {
    Table table("QXES_REQUEST");
    table.columns = {
        {"SESSION_ID", kSqlColText, 10},
        {"REQUEST_ID", kSqlColText, 10},
        {"START_DATE_TIME", kSqlColTimestamp, 16},
        {"END_DATE_TIME", kSqlColTimestamp, 16},
        {"REQUEST_STATUS", kSqlColInteger, 4},
        {"USER_CLASS", kSqlColText, 10},
        {"REDISPATCH", kSqlColInteger, 4},
        {"REQUEST_TYPE", kSqlColInteger, 4},
        {"ACTION", kSqlColText, 10},
        {"MIRRORS", kSqlColText, 10},
        {"MESSAGE", kSqlColText, 10},
        {"MACHINE_NAME", kSqlColText, 10},
        {"MACHINE_PORT", kSqlColInteger, 4},
        {"SERVER_START_DATE_TIME", kSqlColTimestamp, 16},
    };
    return table;
}

Table SessionTable() {
    Table table("QXES_SESSION");
    table.columns = {{"SESSION_ID", kSqlColText, 10}, {"USER_NAME", kSqlColText, 10}};
    return table;
}

enum class Form { kInsert, kSet, kWhere };

void Append(const TableAccess& access, Form form, ColumnType type, std::string& clause,
            const std::string& value, bool isLast) {
    const std::string name = "C";
    switch (type) {
        case ColumnType::kText:
            form == Form::kInsert ? access.AddTextValueForInsert(clause, value, isLast)
            : form == Form::kSet
                ? access.AddTextValueForUpdateSetClause(clause, name, value, isLast)
                : access.AddTextValueForWhereClause(clause, name, value, isLast);
            break;
        case ColumnType::kDate:
            form == Form::kInsert ? access.AddDateValueForInsert(clause, value, isLast)
            : form == Form::kSet
                ? access.AddDateValueForUpdateSetClause(clause, name, value, isLast)
                : access.AddDateValueForWhereClause(clause, name, value, isLast);
            break;
        case ColumnType::kNumeric:
            form == Form::kInsert ? access.AddNumericValueForInsert(clause, value, isLast)
            : form == Form::kSet
                ? access.AddNumericValueForUpdateSetClause(clause, name, value, isLast)
                : access.AddNumericValueForWhereClause(clause, name, value, isLast);
            break;
    }
}

struct LiteralCase {
    ColumnType type;
    const char* value;
    bool typedDates;
    const char* insertLiteral;
    const char* setItem;
    const char* whereItem;
};

TEST(TableAccessTest, LiteralsFollowTypeDialectAndClauseForm) {
    const LiteralCase cases[] = {
        {ColumnType::kText, "ann", true, "'ann'", "C='ann'", "C='ann'"},
        {ColumnType::kText, "NULL", true, "NULL", "C=NULL", "C=NULL"},
        {ColumnType::kDate, "2011-03-04 17:05:09.123", true, "TIMESTAMP '2011-03-04 17:05:09.123'",
         "C=TIMESTAMP '2011-03-04 17:05:09.123'", "C=TIMESTAMP '2011-03-04 17:05:09.123'"},
        {ColumnType::kDate, "2011-03-04 17:05:09", false, "'2011-03-04 17:05:09'",
         "C='2011-03-04 17:05:09'", "C='2011-03-04 17:05:09'"},
        {ColumnType::kDate, "NULL", true, "NULL", "C=NULL", "C=NULL"},
        {ColumnType::kDate, "NULL", false, "NULL", "C=NULL", "C=NULL"},
        {ColumnType::kNumeric, "42", true, "42", "C=42", "C=42"},
        {ColumnType::kNumeric, "NULL", false, "NULL", "C=NULL", "C=NULL"},
    };
    const Table table = SessionTable();
    SessionTableAccess access(&table);
    for (const LiteralCase& c : cases) {
        access.SetTypedDateLiterals(c.typedDates);
        const std::pair<Form, std::string> forms[] = {
            {Form::kInsert, std::string(c.insertLiteral) + ", " + c.insertLiteral},
            {Form::kSet, std::string(c.setItem) + ", " + c.setItem},
            {Form::kWhere, std::string(c.whereItem) + " AND " + c.whereItem},
        };
        for (const auto& form : forms) {
            std::string clause;
            Append(access, form.first, c.type, clause, c.value, false);
            Append(access, form.first, c.type, clause, c.value, true);
            EXPECT_EQ(clause, form.second)
                << "value " << c.value << " form " << static_cast<int>(form.first);
        }
    }
}

TEST(TableAccessTest, StatementsAreDumpedExactlyAsBuilt) {
    const Table sessions = SessionTable();
    const Table requests = RequestTable();
    SqlDumpCapture dump;

    SessionTableAccess session(&sessions);
    session.m_sessionId.SetValue("s1");
    session.m_userName.SetValue("ann");
    EXPECT_FALSE(session.Insert(nullptr));  // built and dumped, but no session to run it

    RequestTableAccess key(&requests);
    key.m_sessionId.SetValue("s1");
    key.m_requestId.SetValue("r1");
    RequestTableAccess change(&requests);
    change.m_endDateTime.SetValue("2011-03-04 17:05:09.123");
    change.m_requestStatus.SetValue("1");
    EXPECT_FALSE(key.Update(nullptr, change));
    EXPECT_EQ(key.Select(nullptr), -1);

    EXPECT_EQ(dump.Text(),
              "\nINSERT INTO QXES_SESSION(SESSION_ID, USER_NAME) VALUES ('s1', 'ann')"
              "\nUPDATE QXES_REQUEST SET END_DATE_TIME=TIMESTAMP '2011-03-04 17:05:09.123', "
              "REQUEST_STATUS=1 WHERE SESSION_ID='s1' AND REQUEST_ID='r1'"
              "\nSELECT  SESSION_ID  FROM QXES_REQUEST WHERE SESSION_ID='s1' AND REQUEST_ID='r1'");
}

TEST(TableAccessTest, UnsetRowInsertsNullThroughout) {
    const Table requests = RequestTable();
    SqlDumpCapture dump;
    RequestTableAccess request(&requests);
    request.SetTypedDateLiterals(false);
    request.Insert(nullptr);
    EXPECT_EQ(dump.Text(),
              "\nINSERT INTO QXES_REQUEST(SESSION_ID, REQUEST_ID, START_DATE_TIME, END_DATE_TIME, "
              "REQUEST_STATUS, USER_CLASS, REDISPATCH, REQUEST_TYPE, ACTION, MIRRORS, MESSAGE, "
              "MACHINE_NAME, MACHINE_PORT, SERVER_START_DATE_TIME) VALUES (NULL, NULL, NULL, "
              "NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL)");
}

TEST(TableAccessTest, UpdateWithNothingToSetSucceedsWithoutAStatement) {
    const Table requests = RequestTable();
    SqlDumpCapture dump;
    RequestTableAccess key(&requests);
    key.m_sessionId.SetValue("s1");
    key.m_requestId.SetValue("r1");
    RequestTableAccess nothing(&requests);
    EXPECT_TRUE(key.Update(nullptr, nothing));
    EXPECT_EQ(dump.Text(), "");
}

TEST(TableAccessTest, QuotesAreDoubledInEveryClauseWhileTheRowKeepsItsText) {
    Table sources("QXES_USER_SOURCE");
    SqlDumpCapture dump;
    UserSourceTableAccess source(&sources);
    source.m_sessionId.SetValue("s1");
    source.m_sourceName.SetValue("x' OR 'a'='a");
    source.m_sourceType.SetValue("t");
    source.m_sourceFilename.SetValue("O'Hara");
    source.Insert(nullptr);
    source.Update(nullptr, source);
    source.Select(nullptr);
    EXPECT_EQ(
        dump.Text(),
        "\nINSERT INTO QXES_USER_SOURCE(SESSION_ID, SOURCE_NAME, SOURCE_TYPE, SOURCE_FILENAME) "
        "VALUES ('s1', 'x'' OR ''a''=''a', 't', 'O''Hara')"
        "\nUPDATE QXES_USER_SOURCE SET SESSION_ID='s1', SOURCE_NAME='x'' OR ''a''=''a', "
        "SOURCE_TYPE='t', SOURCE_FILENAME='O''Hara' WHERE SESSION_ID='s1' AND "
        "SOURCE_NAME='x'' OR ''a''=''a' AND SOURCE_TYPE='t'"
        "\nSELECT  SESSION_ID  FROM QXES_USER_SOURCE WHERE SESSION_ID='s1' AND "
        "SOURCE_NAME='x'' OR ''a''=''a' AND SOURCE_TYPE='t'");
    EXPECT_EQ(source.m_sourceFilename.GetValue(), "O'Hara");
}

struct WidthCase {
    const char* name;
    ColumnKey key;
    std::string value;
    bool refused;
    std::string kept;  // the value after the check, when not refused
    std::vector<int> messages;
};

TEST(TableAccessTest, TextWidthIsCheckedAtTheBoundary) {
    const std::string fits(8, 'a');
    const std::string over = fits + "b";
    const std::string e = "\xC3\xA9";             // 2 bytes
    const std::string euro = "\xE2\x82\xAC";      // 3 bytes
    const std::string grin = "\xF0\x9F\x98\x80";  // 4 bytes
    const WidthCase cases[] = {
        {"fits exactly", ColumnKey::kOrdinary, fits, false, fits, {}},
        {"key fits exactly", ColumnKey::kKey, fits, false, fits, {}},
        {"one over is cut", ColumnKey::kOrdinary, over, false, fits, {30, 31, 33}},
        {"one over key", ColumnKey::kKey, over, true, "", {30, 32, 33}},
        {"one over reference", ColumnKey::kReference, over, true, "", {30, 32, 33}},
        {"2-byte char across the cut",
         ColumnKey::kOrdinary,
         "abcdefg" + e,
         false,
         "abcdefg",
         {30, 31, 33}},
        {"3-byte char across the cut",
         ColumnKey::kOrdinary,
         "abcdef" + euro,
         false,
         "abcdef",
         {30, 31, 33}},
        {"4-byte char across the cut",
         ColumnKey::kOrdinary,
         "abcde" + grin,
         false,
         "abcde",
         {30, 31, 33}},
        {"char ending at the cut is kept",
         ColumnKey::kOrdinary,
         "abcdef" + e + "x",
         false,
         "abcdef" + e,
         {30, 31, 33}},
        {"bytes that are not UTF-8 are cut by count",
         ColumnKey::kOrdinary,
         "a" + std::string(9, '\x80'),
         false,
         "a" + std::string(7, '\x80'),
         {30, 31, 33}},
        {"quotes are doubled after the width check",
         ColumnKey::kOrdinary,
         "abcdefg'",
         false,
         "abcdefg''",
         {}},
    };
    const Table requests = RequestTable();
    RequestTableAccess access(&requests);
    g_CurrentAuditFile = "/audit/qxes_audit.0001";
    for (const WidthCase& c : cases) {
        MessageCapture messages;
        std::string value = c.value;
        if (c.refused) {
            try {
                access.ValidateTextColumnValue(&requests, "MESSAGE", value, c.key);
                ADD_FAILURE() << c.name << ": not refused";
            } catch (const CPPWebException& error) {
                EXPECT_EQ(error.getErrorCode(), 1) << c.name;
                EXPECT_EQ(error.getBackTrace().at(0).function,
                          "TableAccess::ValidateTextColumnValue");
            }
        } else {
            access.ValidateTextColumnValue(&requests, "MESSAGE", value, c.key);
            EXPECT_EQ(value, c.kept) << c.name;
        }
        const std::string shown = messages.Text();
        EXPECT_EQ(MessageNumbers(shown), c.messages) << c.name << "\n" << shown;
        if (!c.messages.empty()) {
            EXPECT_NE(shown.find("MESSAGE"), std::string::npos) << shown;
            EXPECT_NE(shown.find("/audit/qxes_audit.0001"), std::string::npos) << shown;
            EXPECT_NE(shown.find("QXES_REQUEST"), std::string::npos) << shown;
            EXPECT_NE(shown.find(std::to_string(c.value.size())), std::string::npos) << shown;
        }
    }
    g_CurrentAuditFile.clear();
}

TEST(TableAccessTest, ColumnsOutsideTheCatalogueAreOnlyEscaped) {
    const Table requests = RequestTable();
    RequestTableAccess access(&requests);
    MessageCapture messages;
    std::string value = std::string(300, 'a') + "'";
    access.ValidateTextColumnValue(&requests, "NOT_A_COLUMN", value, ColumnKey::kKey);
    EXPECT_EQ(value, std::string(300, 'a') + "''");
    std::string noTable = "it's";
    access.ValidateTextColumnValue(nullptr, "MESSAGE", noTable, ColumnKey::kKey);
    EXPECT_EQ(noTable, "it''s");
    EXPECT_EQ(messages.Text(), "");
}

TEST(TableAccessTest, OverlongKeysStopInsertAndUpdateButNotSelect) {
    const Table requests = RequestTable();
    SqlDumpCapture dump;
    MessageCapture messages;
    RequestTableAccess longKey(&requests);
    longKey.m_sessionId.SetValue("session-id-too-long");
    longKey.m_requestId.SetValue("r1");
    EXPECT_THROW(longKey.Insert(nullptr), CPPWebException);

    RequestTableAccess longReference(&requests);
    longReference.m_machineName.SetValue("machine-name-too-long");
    EXPECT_THROW(longReference.Update(nullptr, longReference), CPPWebException);
    EXPECT_EQ(dump.Text(), "");

    // WHERE values are not width-checked: the database simply finds no such row.
    EXPECT_EQ(longKey.Select(nullptr), -1);
    EXPECT_NE(dump.Text().find("SESSION_ID='session-id-too-long'"), std::string::npos);
}

TEST(TableAccessTest, ColumnAssignmentRequiresTheSameColumn) {
    const std::pair<ColumnData, const char*> cases[] = {
        {ColumnData("USER_NAME", ColumnType::kText, ColumnKey::kKey),
         "KRL_ASSERT(m_name == rhs.m_name);"},
        {ColumnData("SESSION_ID", ColumnType::kNumeric, ColumnKey::kKey),
         "KRL_ASSERT(m_type == rhs.m_type);"},
        {ColumnData("SESSION_ID", ColumnType::kText, ColumnKey::kOrdinary),
         "KRL_ASSERT(m_key == rhs.m_key);"},
    };
    for (const auto& c : cases) {
        ColumnData target("SESSION_ID", ColumnType::kText, ColumnKey::kKey);
        try {
            target = c.first;
            ADD_FAILURE() << "assigned " << c.second;
        } catch (const KRLAssertError& error) {
            EXPECT_EQ(error.getErrorCodeMessage(), c.second);
        }
        EXPECT_EQ(target.GetValue(), "NULL");
    }
}

TEST(TableAccessTest, CollectionsMustMatchTheTableColumnForColumn) {
    const Table requests = RequestTable();
    RequestTableAccess source(&requests);
    source.m_sessionId.SetValue("s1");
    source.m_message.SetValue("done");
    std::vector<ColumnData> row;
    source.GetColumnCollectionValues(row);
    RequestTableAccess copy(&requests);
    copy.SetColumnCollectionValues(row);
    EXPECT_EQ(copy.m_sessionId.GetValue(), "s1");
    EXPECT_EQ(copy.m_message.GetValue(), "done");

    std::vector<ColumnData> tooLong = row;
    tooLong.push_back(row.back());
    std::vector<ColumnData> tooShort(row.begin(), row.end() - 1);
    // Built by copying: assignment between different columns is what is refused.
    std::vector<ColumnData> swapped = {row.at(1), row.at(0)};
    swapped.insert(swapped.end(), row.begin() + 2, row.end());
    const std::pair<std::vector<ColumnData>, const char*> cases[] = {
        {tooLong, "KRL_ASSERT(it == col.end());"},
        {tooShort, "KRL_ASSERT(it != col.end());"},
        {swapped, "KRL_ASSERT(m_name == rhs.m_name);"},
    };
    for (const auto& c : cases) {
        try {
            copy.SetColumnCollectionValues(c.first);
            ADD_FAILURE() << "accepted " << c.second;
        } catch (const KRLAssertError& error) {
            EXPECT_EQ(error.getErrorCodeMessage(), c.second);
        }
    }
}

TEST(TableAccessTest, UnknownColumnTypeIsAnAssertion) {
    const Table sessions = SessionTable();
    SessionTableAccess access(&sessions);
    const std::vector<ColumnData> row = {
        ColumnData("SESSION_ID", static_cast<ColumnType>(7), ColumnKey::kOrdinary)};
    try {
        access.TableAccess::Insert(nullptr, row);
        ADD_FAILURE() << "inserted a value of unknown type";
    } catch (const KRLAssertError& error) {
        EXPECT_EQ(error.getErrorCodeMessage(), "KRL_ASSERT(FALSE);");
    }
}

TEST(TableAccessTest, EmptyStatementsAreNotDumped) {
    const Table sessions = SessionTable();
    SessionTableAccess access(&sessions);
    SqlDumpCapture dump;
    access.WriteSQLStatementToFile("", g_SQLDumpFile);
    access.WriteSQLStatementToFile("SELECT 1", nullptr);
    EXPECT_EQ(dump.Text(), "");
}

}  // namespace
