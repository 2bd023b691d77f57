// Splitting and dispatching single lines, the time stamp fix-up and the resume
// number in audit file names.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "../support/messageCapture.h"
#include "krlAssertError.h"
#include "loadingTestSupport.h"
#include "testDatabase.h"

namespace {

using loadingTest::ParserUnderTest;
using loadingTest::ScratchDir;
using Fields = std::vector<std::string>;

class ParserLineTest : public ::testing::Test {
  protected:
    void SetUp() override {
        AFP_REQUIRE_DATABASE(m_database);
        m_parser = std::make_unique<ParserUnderTest>(AFPOptions(), &m_database.db(), "/");
    }

    // The assertion text that the line raises, or "" when it raises none.
    std::string AssertionOf(Fields line) {
        try {
            m_parser->ParseLine(line);
        } catch (const KRLAssertError& error) {
            return error.getErrorCodeMessage();
        }
        return "";
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
        {"", {}, true},
        {"\n", {}, true},
        {"\t\t\n", {}, true},
        {"a\t\tb\t\t\n", {"a", "b"}, true},
        {"a\tb\t\t", {"a", "b"}, true},
        {"\ta\t\t\tb", {"a", "b"}, true},
        {"a b\t\tc\r\n", {"a b", "c\r"}, true},  // only newlines are trimmed
        {"1\t2\t3\t4\t5\t6\t7\t8\t9\n", {"1", "2", "3", "4", "5", "6", "7", "8", "9"}, true},
        {"1\t2\t3\t4\t5\t6\t7\t8\t9\t10\n",
         {"1", "2", "3", "4", "5", "6", "7", "8", "9", "10"},
         false},
        {"I\t\t2011-03-04:17:05:09.042\t\tCET\t\tTime Zone: GMT + 1:00\t\t12\t\t7\t\tQXRQ\t\t"
         "REQINFO\t\tone\t\ttwo\t\tthree\t\t\n",
         {"I", "2011-03-04:17:05:09.042", "CET", "Time Zone: GMT + 1:00", "12", "7", "QXRQ",
          "REQINFO", "one", "two", "three"},
         false},
    };
    for (const Case& c : cases) {
        Fields fields = {"left", "over", "from", "a", "longer", "line", "x", "y", "z", "w", "v"};
        EXPECT_EQ(m_parser->TokenizeLine(fields, c.line), c.result) << c.line;
        EXPECT_EQ(fields, c.fields) << c.line;
    }
}

TEST_F(ParserLineTest, FixupDateTimeReplacesOnlyTheFirstColon) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"2011-03-04:17:05:09.042", "2011-03-04 17:05:09.042"},
        {"no colon", "no colon"},
        {"", ""},
        {":", " "},
    };
    for (const auto& c : cases) {
        std::string stamp = c.first;
        m_parser->FixupDateTime(stamp);
        EXPECT_EQ(stamp, c.second) << c.first;
    }
}

TEST(ParserResumeNumber, ReadsOnlyAllDigitTextBetweenTheNamesLastTwoDots) {
    const std::vector<std::pair<std::string, uint32_t>> cases = {
        {"/audit/qxes_audit_x.120.log", 120},
        {"/audit/qxes_audit_x.120.340.log", 340},
        {"qxes_audit_x.4.log", 4},
        {"/audit/qxes_audit_x.log", 0},
        {"/audit/qxes_audit_2011-03-04.log", 0},
        {"/audit.7/qxes_audit_x.log", 0},  // a directory's dot is not the name's
        {"/audit.7/qxes_audit_x", 0},
        {"/audit/qxes_audit_x.-3.log", 0},
        {"/audit/qxes_audit_x.12a.log", 0},
        {"/audit/qxes_audit_x..log", 0},
        {"/audit/qxes_audit_x.4294967295.log", 4294967295u},
        {"/audit/qxes_audit_x.4294967296.log", 0},
        {"/audit/qxes_audit_x.99999999999999999999.log", 0},
        {"/audit/.5.log", 5},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Parser::ResumeNumberOf(c.first), c.second) << c.first;
    }
}

TEST_F(ParserLineTest, AddLineToAuditFilenameAppendsTheLineUnlessAlreadyThere) {
    struct Case {
        std::string name;
        unsigned long line;
        std::string renamed;
    };
    const std::vector<Case> cases = {
        {"qxes_audit_a.log", 4, "qxes_audit_a.4.log"},
        {"qxes_audit_b.120.log", 340, "qxes_audit_b.120.340.log"},
        {"qxes_audit_c.4.log", 4, "qxes_audit_c.4.log"},
        {"qxes_audit_d.12a.log", 1, "qxes_audit_d.12a.1.log"},
    };
    ScratchDir dir;
    for (const Case& c : cases) {
        loadingTest::WriteFile(dir / c.name, "x");
        m_parser->AddLineToAuditFilename(dir / c.name, c.line);
        EXPECT_TRUE(dir.Names().count(c.renamed)) << c.name;
    }
    EXPECT_EQ(dir.Names().size(), cases.size());

    MessageCapture capture;
    m_parser->AddLineToAuditFilename(dir / "qxes_audit_missing.log", 7);
    EXPECT_NE(capture.Text().find("AFP-0021:"), std::string::npos);
    try {
        m_parser->AddLineToAuditFilename(dir.path() + "/noextension", 7);
        ADD_FAILURE() << "a name without a dot has no place for the line";
    } catch (const KRLAssertError& error) {
        EXPECT_EQ(error.getErrorCodeMessage(), "KRL_ASSERT(string_npos != pos);");
    }
}

Fields Line(const std::string& type, const std::string& component, const std::string& format,
            const std::string& message = "text") {
    return {type,      "2011-03-04:17:05:09.042",
            "CET",     "Time Zone: GMT + 1:00",
            "0",       "0",
            component, format,
            message};
}

TEST_F(ParserLineTest, ParseLineSetsTheStateFromTheTypeLetter) {
    struct Case {
        Fields line;
        Parser::LineState state;
        bool result;
    };
    const std::vector<Case> cases = {
        {Line("V", "QXES", "1"), Parser::kLineVersion, true},
        {Line("G", "QXES", "1", "generation 3"), Parser::kLineGeneral, true},
        {Line("I", "QXRQ", "QXUI"), Parser::kLineInfo, true},
        {Line("U", "QXDS", "QXUC"), Parser::kLineUsage, true},
        {Line("X", "QXES", "SRV"), Parser::kLineNone, false},
        {Line("i", "QXES", "SRV"), Parser::kLineNone, false},
        {{"Gshort"}, Parser::kLineGeneral, true},
    };
    for (const Case& c : cases) {
        Fields line = c.line;
        EXPECT_EQ(m_parser->ParseLine(line), c.result) << c.line.front();
        EXPECT_EQ(m_parser->lineState, c.state) << c.line.front();
    }
    Fields blank;
    EXPECT_TRUE(m_parser->ParseLine(blank));
}

TEST_F(ParserLineTest, ShortRecordLinesAreRefusedBeforeAnyHandler) {
    for (const char* type : {"I", "E", "U"}) {
        Fields line = Line(type, "NONE", "NONE");  // would assert if dispatched
        line.pop_back();
        EXPECT_FALSE(m_parser->ParseLine(line)) << type;
        Fields typeOnly = {type};
        EXPECT_FALSE(m_parser->ParseLine(typeOnly)) << type;
    }
}

TEST_F(ParserLineTest, VersionAndGeneralLinesAreKept) {
    Fields version = Line("V", "QXES", "3", "9.1.0");
    EXPECT_TRUE(m_parser->ParseVersion(version));
    EXPECT_EQ(m_parser->versionNumber, 3);
    EXPECT_EQ(m_parser->versionMessage, "9.1.0");
    EXPECT_EQ(m_parser->versionTimeStamp, "2011-03-04 17:05:09.042");
    EXPECT_EQ(m_parser->versionTimeZone, "CET");

    // Absent fields read as empty text, and an empty number as 0.
    Fields shortVersion = {"V", "2011-03-04:17:05:09.042"};
    EXPECT_TRUE(m_parser->ParseLine(shortVersion));
    EXPECT_EQ(m_parser->versionNumber, 0);
    EXPECT_EQ(m_parser->versionMessage, "");
    EXPECT_EQ(m_parser->versionTimeZone, "");

    Fields general = Line("G", "QXES", "1", "generation 3");
    EXPECT_TRUE(m_parser->ParseGeneral(general));
    EXPECT_EQ(m_parser->generalMessage, "generation 3");
    Fields notGeneral = Line("V", "QXES", "1");
    EXPECT_FALSE(m_parser->ParseGeneral(notGeneral));
    EXPECT_EQ(m_parser->generalMessage, "generation 3");
}

TEST_F(ParserLineTest, BadVersionLineIsReportedAndMarksTheFileNotDisposable) {
    MessageCapture capture;
    m_parser->currentFile = "/audit/qxes_audit_1.log";
    m_parser->fileDisposable = true;
    for (Fields line : {Line("I", "QXES", "1"), Fields{}}) {
        EXPECT_FALSE(m_parser->ParseVersion(line));
        EXPECT_EQ(m_parser->versionNumber, -1);
        EXPECT_FALSE(m_parser->fileDisposable);
    }
    const std::string text = capture.Text();
    EXPECT_EQ(loadingTest::Count(text, "AFP-0029:"), 2u) << text;
    EXPECT_NE(text.find("/audit/qxes_audit_1.log"), std::string::npos) << text;
    EXPECT_NE(text.find("-1"), std::string::npos) << text;
}

TEST_F(ParserLineTest, UnknownComponentsOfErrorAndInformationLinesAssert) {
    EXPECT_EQ(AssertionOf(Line("E", "QXES", "REQFAILE")), "KRL_ASSERT(FALSE);");
    EXPECT_EQ(AssertionOf(Line("E", "QXDS", "REQFAILE")), "KRL_ASSERT(FALSE);");
    EXPECT_EQ(AssertionOf(Line("I", "QXUNKNOWN", "SRV")), "KRL_ASSERT(FALSE);");
    EXPECT_EQ(AssertionOf(Line("I", "QXES", "QXUI")), "");  // taken before the component
    Fields notError = Line("I", "QXES", "SRV");
    EXPECT_FALSE(m_parser->ParseError(notError));
    Fields notInfo = Line("E", "QXRQ", "REQFAILE");
    EXPECT_FALSE(m_parser->ParseInfo(notInfo));
}

TEST_F(ParserLineTest, StartupLinesReachTheirHandlerEvenWhileResuming) {
    m_parser->resumeReached = false;
    Fields startup = Line("I", "QXES", "SRV", "srv7:8080");
    EXPECT_TRUE(m_parser->ParseLine(startup));
    EXPECT_EQ(m_parser->machineName, "srv7");
    EXPECT_EQ(m_database.countRows("QXES_DISPATCHER"), 0);
}

}  // namespace
