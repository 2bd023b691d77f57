// The table catalogue as the database describes it, on both backends.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "afpOptions.h"
#include "parser.h"
#include "testDatabase.h"
#include "thrown.h"

namespace {

class ParserUnderTest : public Parser {
  public:
    using Parser::Parser;
    using Parser::TableFor;
};

class ParserCatalogueTest : public ::testing::TestWithParam<TestBackend> {
  protected:
    void SetUp() override { AFP_REQUIRE_DATABASE(m_database); }
    TestDatabase m_database{GetParam()};
};

TEST_P(ParserCatalogueTest, EveryAuditTableIsDescribedInDatabaseOrder) {
    ParserUnderTest parser(AFPOptions(), &m_database.db(), "/");
    EXPECT_FALSE(m_database.db().isTransactionOpen());
    for (int id = kDispatcherTable; id <= kLevelUsageTable; ++id) {
        const Table* table = parser.TableFor(static_cast<TableId>(id));
        ASSERT_NE(table, nullptr) << id;
        EXPECT_FALSE(table->columns.empty()) << table->name;
    }
    const Table* requests = parser.TableFor(kRequestTable);
    EXPECT_EQ(requests->name, "QXES_REQUEST");
    ASSERT_EQ(requests->columns.size(), 14u);
    EXPECT_EQ(requests->columns.front().name, "SESSION_ID");
    EXPECT_EQ(requests->columns.back().name, "SERVER_START_DATE_TIME");
    const Column* message = requests->FindColumn("MESSAGE");
    ASSERT_NE(message, nullptr);
    EXPECT_EQ(message->type, kSqlColText);
    EXPECT_EQ(message->length, 2000 + 2);
}

TEST_P(ParserCatalogueTest, MissingTableStopsTheRunWithItsCause) {
    m_database.exec("DROP TABLE QXES_LEVEL_USAGE");
    const std::string text =
        Thrown([&] { ParserUnderTest parser(AFPOptions(), &m_database.db(), "/"); });
    EXPECT_EQ(text.rfind("AFP-0006:", 0), 0u) << text;
    // PostgreSQL names the table in lower case.
    EXPECT_TRUE(text.find("QXES_LEVEL_USAGE") != std::string::npos ||
                text.find("qxes_level_usage") != std::string::npos)
        << text;
    EXPECT_FALSE(m_database.db().isTransactionOpen());
}

AFP_ON_BOTH_BACKENDS(ParserCatalogueTest);

}  // namespace
