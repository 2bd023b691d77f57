#include "tableAccess.h"

#include <gtest/gtest.h>

#include <functional>
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
    for (const char* name : {"SESSION_ID", "REQUEST_ID", "MESSAGE", "MACHINE_NAME"}) {
        table.columns.emplace_back(name, kSqlColText, 10);
    }
    table.columns.emplace_back("REQUEST_STATUS", kSqlColInteger, 4);
    return table;
}

TEST(TableAccessTest, LiteralsFollowTypeDialectAndClauseForm) {
    using Appender =
        std::function<void(const TableAccess&, std::string&, const std::string&, bool)>;
    struct Case {
        const char* value;
        bool typedDates;
        Appender append;
        const char* expected;  // the literal appended twice, so that the separator shows
    };
    using A = TableAccess;
    const auto insert = [](void (A::*f)(std::string&, const std::string&, bool) const) {
        return [f](const A& a, std::string& c, const std::string& v, bool l) { (a.*f)(c, v, l); };
    };
    const auto named = [](void (A::*f)(std::string&, const std::string&, const std::string&, bool)
                              const) {
        return
            [f](const A& a, std::string& c, const std::string& v, bool l) { (a.*f)(c, "C", v, l); };
    };
    const Case cases[] = {
        {"ann", true, insert(&A::AddTextValueForInsert), "'ann', 'ann'"},
        {"ann", true, named(&A::AddTextValueForUpdateSetClause), "C='ann', C='ann'"},
        {"ann", true, named(&A::AddTextValueForWhereClause), "C='ann' AND C='ann'"},
        {"NULL", true, named(&A::AddTextValueForWhereClause), "C=NULL AND C=NULL"},
        {"1", true, insert(&A::AddDateValueForInsert), "TIMESTAMP '1', TIMESTAMP '1'"},
        {"1", true, named(&A::AddDateValueForWhereClause), "C=TIMESTAMP '1' AND C=TIMESTAMP '1'"},
        {"1", false, insert(&A::AddDateValueForInsert), "'1', '1'"},
        {"1", false, named(&A::AddDateValueForWhereClause), "C='1' AND C='1'"},
        {"NULL", true, insert(&A::AddDateValueForInsert), "NULL, NULL"},
        {"NULL", false, named(&A::AddDateValueForUpdateSetClause), "C=NULL, C=NULL"},
        {"42", true, insert(&A::AddNumericValueForInsert), "42, 42"},
        {"42", true, named(&A::AddNumericValueForUpdateSetClause), "C=42, C=42"},
        {"NULL", true, named(&A::AddNumericValueForWhereClause), "C=NULL AND C=NULL"},
    };
    const Table table = RequestTable();
    SessionTableAccess access(&table);
    for (const Case& c : cases) {
        access.SetTypedDateLiterals(c.typedDates);
        std::string clause;
        c.append(access, clause, c.value, false);
        c.append(access, clause, c.value, true);
        EXPECT_EQ(clause, c.expected);
    }
}

TEST(TableAccessTest, StatementsAreDumpedExactlyAsBuiltWithQuotesDoubled) {
    Table sources("QXES_USER_SOURCE");
    const Table requests = RequestTable();
    SqlDumpCapture dump;
    UserSourceTableAccess source(&sources);
    source.m_sessionId.SetValue("s1");
    source.m_sourceName.SetValue("x' OR 'a'='a");
    source.m_sourceType.SetValue("t");
    source.m_sourceFilename.SetValue("O'Hara");
    EXPECT_FALSE(source.Insert(nullptr));  // built and dumped, but no session to run it
    EXPECT_EQ(source.Select(nullptr), -1);
    EXPECT_EQ(source.m_sourceFilename.GetValue(), "O'Hara");

    RequestTableAccess key(&requests);
    key.m_sessionId.SetValue("s1");
    key.m_requestId.SetValue("r1");
    RequestTableAccess change(&requests);
    EXPECT_TRUE(key.Update(nullptr, change));  // nothing to set: no statement at all
    change.m_endDateTime.SetValue("2011-03-04 17:05:09.123");
    change.m_requestStatus.SetValue("1");
    change.m_message.SetValue("it's");
    EXPECT_FALSE(key.Update(nullptr, change));

    EXPECT_EQ(dump.Text(),
              "\nINSERT INTO QXES_USER_SOURCE(SESSION_ID, SOURCE_NAME, SOURCE_TYPE, "
              "SOURCE_FILENAME) VALUES ('s1', 'x'' OR ''a''=''a', 't', 'O''Hara')"
              "\nSELECT  SESSION_ID  FROM QXES_USER_SOURCE WHERE SESSION_ID='s1' AND "
              "SOURCE_NAME='x'' OR ''a''=''a' AND SOURCE_TYPE='t'"
              "\nUPDATE QXES_REQUEST SET END_DATE_TIME=TIMESTAMP '2011-03-04 17:05:09.123', "
              "REQUEST_STATUS=1, MESSAGE='it''s' WHERE SESSION_ID='s1' AND REQUEST_ID='r1'");
}

TEST(TableAccessTest, TextWidthIsCheckedAtTheBoundary) {
    struct Case {
        const char* name;
        ColumnKey key;
        std::string value;
        std::string kept;  // empty when the value is refused
        std::vector<int> messages;
    };
    const std::string e = "\xC3\xA9", euro = "\xE2\x82\xAC", grin = "\xF0\x9F\x98\x80";
    const Case cases[] = {
        {"fits exactly", ColumnKey::kKey, "abcdefgh", "abcdefgh", {}},
        {"one over is cut", ColumnKey::kOrdinary, "abcdefghi", "abcdefgh", {30, 31, 33}},
        {"one over key", ColumnKey::kKey, "abcdefghi", "", {30, 32, 33}},
        {"one over reference", ColumnKey::kReference, "abcdefghi", "", {30, 32, 33}},
        {"2-byte char across the cut",
         ColumnKey::kOrdinary,
         "abcdefg" + e,
         "abcdefg",
         {30, 31, 33}},
        {"3-byte char across the cut",
         ColumnKey::kOrdinary,
         "abcdef" + euro,
         "abcdef",
         {30, 31, 33}},
        {"4-byte char across the cut", ColumnKey::kOrdinary, "abcde" + grin, "abcde", {30, 31, 33}},
        {"char ending at the cut",
         ColumnKey::kOrdinary,
         "abcdef" + e + "x",
         "abcdef" + e,
         {30, 31, 33}},
        {"not UTF-8: cut by count",
         ColumnKey::kOrdinary,
         "a" + std::string(9, '\x80'),
         "a" + std::string(7, '\x80'),
         {30, 31, 33}},
        {"quotes doubled after the check", ColumnKey::kOrdinary, "abcdefg'", "abcdefg''", {}},
    };
    const Table requests = RequestTable();
    RequestTableAccess access(&requests);
    g_CurrentAuditFile = "/audit/qxes_audit.0001";
    for (const Case& c : cases) {
        MessageCapture messages;
        std::string value = c.value;
        try {
            access.ValidateTextColumnValue(&requests, "MESSAGE", value, c.key);
            EXPECT_EQ(value, c.kept) << c.name;
        } catch (const CPPWebException& error) {
            EXPECT_EQ(c.kept, "") << c.name;
            EXPECT_EQ(error.getErrorCode(), 1) << c.name;
        }
        const std::string shown = messages.Text();
        EXPECT_EQ(MessageNumbers(shown), c.messages) << c.name << "\n" << shown;
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

TEST(TableAccessTest, OverlongKeysStopInsertAndUpdateButNotSelect) {
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

TEST(TableAccessTest, RowsAreCopiedOnlyBetweenTheSameColumns) {
    const Table requests = RequestTable();
    RequestTableAccess source(&requests);
    source.m_message.SetValue("done");
    std::vector<ColumnData> row;
    source.GetColumnCollectionValues(row);
    RequestTableAccess copy(&requests);
    copy.SetColumnCollectionValues(row);
    EXPECT_EQ(copy.m_message.GetValue(), "done");

    std::vector<ColumnData> tooLong = row;
    tooLong.push_back(row.back());
    // Built by copying: assignment between different columns is what is refused.
    std::vector<ColumnData> swapped = {row.at(1), row.at(0)};
    swapped.insert(swapped.end(), row.begin() + 2, row.end());
    const std::pair<std::function<void()>, const char*> cases[] = {
        {[&] { copy.SetColumnCollectionValues(tooLong); }, "KRL_ASSERT(it == col.end());"},
        {[&] { copy.SetColumnCollectionValues({row.at(0)}); }, "KRL_ASSERT(it != col.end());"},
        {[&] { copy.SetColumnCollectionValues(swapped); }, "KRL_ASSERT(m_name == rhs.m_name);"},
        {[&] {
             copy.m_sessionId = ColumnData("SESSION_ID", ColumnType::kNumeric, ColumnKey::kKey);
         },
         "KRL_ASSERT(m_type == rhs.m_type);"},
        {[&] {
             copy.m_sessionId = ColumnData("SESSION_ID", ColumnType::kText, ColumnKey::kOrdinary);
         },
         "KRL_ASSERT(m_key == rhs.m_key);"},
        {[&] { copy.TableAccess::Insert(nullptr, {ColumnData("X", ColumnType(7), ColumnKey())}); },
         "KRL_ASSERT(FALSE);"},
    };
    for (const auto& c : cases) {
        try {
            c.first();
            ADD_FAILURE() << "no " << c.second;
        } catch (const KRLAssertError& error) {
            EXPECT_EQ(error.getErrorCodeMessage(), c.second);
        }
    }
}

}  // namespace
