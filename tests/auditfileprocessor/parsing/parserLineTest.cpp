// Splitting single lines, reading the version line, and the resume number in
// audit file names.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "../../support/auditFiles.h"
#include "../../support/messageCapture.h"
#include "afpOptions.h"
#include "parser.h"

namespace {

using auditFiles::Fields;

class ParserUnderTest : public Parser {
  public:
    using Parser::m_server;
    using Parser::Parser;
};

class ParserLineTest : public ::testing::Test {
  protected:
    void SetUp() override {
        AFP_REQUIRE_DATABASE(m_database);
        m_parser = std::make_unique<ParserUnderTest>(AFPOptions(), &m_database.db(), "/");
    }
    TestDatabase m_database;
    std::unique_ptr<ParserUnderTest> m_parser;
};

TEST_F(ParserLineTest, TokenizeDropsEmptyPiecesAndTrailingNewlines) {
    struct Case {
        std::string line;
        Fields fields;
        bool result;
    };
    const std::vector<Case> cases = {
        {"\t\t\n", {}, true},
        {"\ta\t\t\tb", {"a", "b"}, true},
        {"a b\t\tc\r\n", {"a b", "c\r"}, true},  // only newlines are trimmed
        {"1\t2\t3\t4\t5\t6\t7\t8\t9\n", {"1", "2", "3", "4", "5", "6", "7", "8", "9"}, true},
        // A tenth piece: the message runs on.
        {"I\t\t2011-03-04:17:05:09.042\t\tCET\t\tTime Zone: GMT + 1:00\t\t12\t\t7\t\tQXRQ\t\t"
         "REQINFO\t\tone\t\ttwo\t\t\n",
         {"I", "2011-03-04:17:05:09.042", "CET", "Time Zone: GMT + 1:00", "12", "7", "QXRQ",
          "REQINFO", "one", "two"},
         false},
    };
    for (const Case& c : cases) {
        // Whatever an earlier, longer line left in the vector is gone.
        Fields fields = {"left", "over", "from", "a", "longer", "line", "x", "y", "z", "w", "v"};
        EXPECT_EQ(m_parser->TokenizeLine(fields, c.line), c.result) << c.line;
        EXPECT_EQ(fields, c.fields) << c.line;
    }
}

TEST(ParserResumeNumber, ReadsOnlyAllDigitTextBetweenTheNamesLastTwoDots) {
    const std::vector<std::pair<std::string, uint32_t>> cases = {
        {"/audit/qxes_audit_x.120.log", 120},
        {"/audit/qxes_audit_x.120.340.log", 340},
        {"/audit/qxes_audit_2011-03-04.log", 0},
        {"/audit.7/qxes_audit_x.log", 0},  // a directory's dot is not the name's
        {"/audit/qxes_audit_x.-3.log", 0},
        {"/audit/qxes_audit_x.12a.log", 0},
        {"/audit/qxes_audit_x..log", 0},
        {"/audit/qxes_audit_x.4294967295.log", 4294967295u},
        {"/audit/qxes_audit_x.4294967296.log", 0},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Parser::ResumeNumberOf(c.first), c.second) << c.first;
    }
}

TEST_F(ParserLineTest, AddLineToAuditFilenameKeepsEarlierNumbers) {
    ScratchDirectory dir;
    WriteFile(dir / "qxes_audit_b.120.log", "x");
    WriteFile(dir / "qxes_audit_c.4.log", "x");
    m_parser->AddLineToAuditFilename(dir / "qxes_audit_b.120.log", 340);
    m_parser->AddLineToAuditFilename(dir / "qxes_audit_c.4.log", 4);
    EXPECT_EQ(NamesIn(dir.path()), (Fields{"qxes_audit_b.120.340.log", "qxes_audit_c.4.log"}));

    MessageCapture capture;
    m_parser->AddLineToAuditFilename(dir / "qxes_audit_missing.log", 7);
    EXPECT_EQ(capture.Text().rfind("AFP-0021:", 0), 0u);
}

TEST_F(ParserLineTest, VersionLineReadsAbsentFieldsAsEmpty) {
    Fields version = auditFiles::Line("V", "QXES", "3", "0", "0", "text");
    EXPECT_TRUE(m_parser->ParseVersion(version));
    EXPECT_EQ(m_parser->m_server.versionNumber, 3);
    EXPECT_EQ(m_parser->m_server.versionTimeStamp, "2011-03-04 17:05:09.042");

    Fields shortVersion = {"V", "2011-03-04:17:05:09.042"};
    EXPECT_TRUE(m_parser->ParseVersion(shortVersion));
    EXPECT_EQ(m_parser->m_server.versionNumber, 0);
    EXPECT_EQ(m_parser->m_server.versionMessage, "");
}

}  // namespace
