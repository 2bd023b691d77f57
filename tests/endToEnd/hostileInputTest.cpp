// The loader over a directory of hostile audit files: garbage, NUL bytes, a
// line of a megabyte, CR LF, truncated lines, bad version lines, invalid
// UTF-8, impossible time stamps, quotes, backslashes and SQL injection
// attempts. It must not crash, must set every file aside with the numbered
// message that explains it, and must write exactly the rows of the good lines
// among them: the same files with their bad lines removed are the reference.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "../support/auditFiles.h"

namespace {

using namespace auditFiles;

std::string InfoLine(const std::string& session, const std::string& component,
                     const std::string& format, const std::string& message,
                     const std::string& stamp = kStamp) {
    return Record(Info(component, format, session, "1", message, stamp));
}

// A whole request of one session: source, user, class, usage and success.
std::string Request(const std::string& session, const std::string& source = "Sales",
                    const std::string& user = "jsmith") {
    return InfoLine(session, "QXRQ", "REQINFO", source + ",cube,\"/data/cubes/Sales.mdc\",,0") +
           InfoLine(session, "QXDS", "USR", user) + InfoLine(session, "QXDS", "UC", "Analysts") +
           Usage("QXUC", "D1,Measures;D1L1;M1", session, "1") +
           Usage("QXUH", "Products,Measures;Product Line;Revenue", session, "1") +
           Usage("QXUD", "5,1;7;42", session, "1") +
           InfoLine(session, "QXRQ", "SUCC", "Cube view returned 10 cells.");
}

// An administration action on a source: a request of its own.
std::string Admin(const std::string& session, const std::string& source) {
    return Record(Info("QXES", "COPY", session, "9", "Report," + source));
}

// Where a file is only partly hostile, its good part begins the file.
std::string GoodPart(const std::string& file) {
    return AuditFile({Startup(file), Request("G-" + file)});
}

const char kInjectionSource[] = "x' OR 'a'='a";
const char kInjectionUser[] = "'); DROP TABLE QXES_SESSION; --";
const char kQuotedUser[] = "O'Brien \"the \\\\ great\" \\' '' \\";

// One hostile file: its content, the same file with only its good lines
// (empty when nothing in it is to be loaded), and the messages it must cause.
struct HostileFile {
    std::string name;
    std::string content;
    std::string goodLines;
    std::set<std::string> messages;
};

std::vector<HostileFile> HostileFiles() {
    std::mt19937 random(5);
    std::string garbage(64 * 1024, '\0');
    for (char& byte : garbage) {
        byte = static_cast<char>(random() & 0xff);
    }
    std::string crlf = AuditFile({Startup("crlf"), Request("H2")});
    for (size_t at = crlf.find('\n'); at != std::string::npos; at = crlf.find('\n', at + 2)) {
        crlf.insert(at, "\r");
    }
    const std::string header = AuditSupport::kAuditFileHeader;
    const std::string general = Record(Line("G", "QXES", "FGN", "0", "0", "1"));
    const std::string quotes = AuditFile({Request("H9'\"\\", "Sa'les\\\"", kQuotedUser),
                                          Request("H9", "\\'", "\\"), Admin("H9", kQuotedUser)});
    const std::string injection = AuditFile(
        {Request("H10", kInjectionSource, kInjectionUser),
         Request("' OR '1'='1", kInjectionUser, kInjectionSource), Admin("H10", kInjectionUser)});
    const auto good = GoodPart;
    return {
        {"garbage", garbage, "", {"AFP-0028"}},
        {"empty", "", "", {"AFP-0024"}},
        {"headeronly", header, "", {"AFP-0024"}},
        {"shortheader",
         header.substr(0, header.size() - 1) + AuditFile({}).substr(header.size()),
         "",
         {"AFP-0028"}},
        {"crlf", crlf, "", {"AFP-0028"}},
        {"noversion", header + general + Request("H3"), "", {"AFP-0029"}},
        {"badversion",
         header + Record(Line("v", "QXES", "1", "0", "0", "9.1.0")) + Request("H4"),
         "",
         {"AFP-0029"}},
        // NUL in the session identifier cuts the line short; a line of NULs reads as blank.
        {"nulbytes",
         good("nulbytes") + InfoLine(std::string("H5\0evil", 7), "QXDS", "USR", "nul") +
             std::string(100, '\0') + "\n" + Request("H5"),
         good("nulbytes") + Request("H5"),
         {"AFP-0026"}},
        // Read in pieces of the line buffer, none of which is a record.
        {"megabyte",
         good("megabyte") + "I\t\t" + kStamp + "\t\tUTC\t\t" + std::string(1 << 20, 'S') +
             "\t\t1\t\tQXDS\t\tUSR\t\tbig\n" + std::string(1 << 20, 'x') + "\n" + Request("H6"),
         good("megabyte") + Request("H6"),
         {"AFP-0026"}},
        {"truncated",
         good("truncated") + "I\t\t" + kStamp + "\t\tUTC\t\t\n" + "U\t\t2011-03-04:17:0\n" +
             "E\t\t" + kStamp + "\n" +
             Record({"I", kStamp, "UTC", "Time Zone: GMT + 0:00", "H7", "1", "QXRQ"}) +
             Request("H7") + "I\t\t" + kStamp + "\t\tUTC\t\tTime Zone",  // no newline at the end
         good("truncated") + Request("H7"),
         {"AFP-0026"}},
        {"unknowntype",
         good("unknowntype") + Record(Line("X", "QXDS", "USR", "H8", "1", "x")) +
             Record({"?", "?", "?", "?", "?", "?", "?", "?", "?"}) + Request("H8"),
         good("unknowntype") + Request("H8"),
         {"AFP-0026"}},
        // Left to the database, SQLite would store such lines and PostgreSQL
        // would stop loading on them for good.
        {"utf8",
         good("utf8") + Request("H11\xff", "Sa\xc3les", "\xed\xa0\x80\xc0\xaf") +
             InfoLine("H11", "QXDS", "USR", "\xf8\x88\x80\x80\x80"),
         good("utf8"),
         {"AFP-0026"}},
        // The session and source rows must not be written before the request row is refused.
        {"badstamps",
         good("badstamps") +
             InfoLine("H12", "QXRQ", "REQINFO", "Sales,cube,\"/x\",,0", "2011-03-0") +
             InfoLine("H13", "QXRQ", "REQINFO", "Sales,cube,\"/x\",,0", "2011-02-30:25:61:61.000"),
         good("badstamps"),
         {"AFP-0026"}},
        {"quotes", quotes, quotes, {}},
        {"injection", injection, injection, {}},
    };
}

class HostileInputTest : public ::testing::TestWithParam<TestBackend> {
  protected:
    void SetUp() override { AFP_REQUIRE_DATABASE(m_hostile); }

    ScratchDirectory m_scratch;
    TestDatabase m_hostile{GetParam()};
    TestDatabase m_good{GetParam()};
};

TEST_P(HostileInputTest, BadFilesAreSetAsideWithTheirMessageAndOnlyGoodLinesAreLoaded) {
    const std::string hostile = m_scratch / "hostile";
    const std::string good = m_scratch / "good";
    std::filesystem::create_directories(hostile);
    std::filesystem::create_directories(good);
    std::vector<HostileFile> files = HostileFiles();
    for (HostileFile& file : files) {
        file.name = "qxes_audit_" + file.name + ".log";
        WriteFile(hostile + "/" + file.name, file.content);
        if (!file.goodLines.empty()) {
            WriteFile(good + "/" + file.name, file.goodLines);
        }
    }
    const ProcessResult goodRun = RunLoader(m_good, good, 3);
    ASSERT_EQ(goodRun.exitStatus, 0);
    ASSERT_EQ(WithoutSummary(goodRun.out), "");

    const ProcessResult run = RunLoader(m_hostile, hostile, 3);
    EXPECT_EQ(run.exitStatus, 0) << run.err;  // 128 + a signal after a crash
    EXPECT_EQ(PendingFiles(hostile), std::vector<std::string>());
    // Every message names its file: the path, then possibly more text.
    std::map<std::string, std::set<std::string>> messages;
    std::istringstream lines(WithoutSummary(run.out));
    for (std::string line; std::getline(lines, line);) {
        const size_t at = line.rfind(hostile + "/");
        const std::string rest =
            at == std::string::npos ? "" : line.substr(at + hostile.size() + 1);
        if (line.rfind("AFP-", 0) == 0) {
            messages[rest.substr(0, rest.find(".log") + 4)].insert(line.substr(0, 8));
        }
    }
    for (const HostileFile& file : files) {
        EXPECT_EQ(messages[file.name], file.messages) << file.name;
        messages.erase(file.name);
    }
    EXPECT_TRUE(messages.empty()) << run.out;
    EXPECT_EQ(DumpTables(m_good), DumpTables(m_hostile));

    // The quoted and injected values land as written, and every table is still there.
    for (const char* table : kAuditTables) {
        EXPECT_GT(m_hostile.countRows(table), 0) << table;
    }
    EXPECT_EQ(m_hostile.query("SELECT USER_NAME FROM QXES_SESSION WHERE SESSION_ID = 'H10'"),
              (Rows{{kInjectionUser}}));
    EXPECT_EQ(m_hostile.query("SELECT SOURCE_NAME FROM QXES_USER_SOURCE WHERE SESSION_ID = 'H10'"),
              (Rows{{kInjectionSource}}));
    EXPECT_EQ(m_hostile.query("SELECT USER_NAME FROM QXES_SESSION WHERE SESSION_ID = 'H9''\"\\'"),
              (Rows{{kQuotedUser}}));
}

AFP_ON_BOTH_BACKENDS(HostileInputTest);

}  // namespace
