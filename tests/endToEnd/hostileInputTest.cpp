// The loader over a directory of hostile audit files: garbage, NUL bytes, a
// line of a megabyte, CR LF, truncated lines, bad version lines, invalid
// UTF-8, quotes, backslashes and SQL injection attempts. It must not crash,
// must set every file aside with the numbered message that explains it, and
// must write exactly the rows that the good lines among them give: the same
// directory with its bad lines removed is the reference.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "auditRun.h"
#include "auditSupport.h"
#include "testDatabase.h"

namespace {

using namespace endToEnd;

const char kStamp[] = "2011-03-04:17:05:09.042";
const char kZone[] = "UTC";
const char kDifference[] = "Time Zone: GMT + 0:00";

// One record line as the server writes it: every field followed by two tabs.
std::string Record(const std::vector<std::string>& fields, const std::string& end = "\n") {
    std::string line;
    for (const std::string& field : fields) {
        line += field + "\t\t";
    }
    return line + end;
}
std::string Info(const std::string& session, const std::string& component,
                 const std::string& format, const std::string& message) {
    return Record({"I", kStamp, kZone, kDifference, session, "1", component, format, message});
}
std::string Usage(const std::string& session, const std::string& format,
                  const std::string& message) {
    return Record({"U", kStamp, kZone, kDifference, session, "1", "QXDS", format, message});
}

// Header, version, generation and the start-up of the file's own server.
std::string Opening(const std::string& host, const std::string& end = "\n") {
    std::string header = AuditSupport::kAuditFileHeader;
    header.replace(header.size() - 1, 1, end);
    return header + Record({"V", kStamp, kZone, kDifference, "0", "0", "QXES", "1", "9.1.0"}, end) +
           Record({"G", kStamp, kZone, kDifference, "0", "0", "QXES", "FGN", "1"}, end) +
           Record({"I", kStamp, kZone, kDifference, "0", "0", "QXES", "SRV", host + ":8010"}, end);
}

// A whole request of one session: source, user, class, usage and success.
std::string Request(const std::string& session, const std::string& source = "Sales",
                    const std::string& user = "jsmith") {
    return Info(session, "QXRQ", "REQINFO", source + ",cube,\"/data/cubes/Sales.mdc\",,0") +
           Info(session, "QXDS", "USR", user) + Info(session, "QXDS", "UC", "Analysts") +
           Usage(session, "QXUC", "D1,Measures;D1L1;M1") +
           Usage(session, "QXUH", "Products,Measures;Product Line;Revenue") +
           Usage(session, "QXUD", "5,1;7;42") +
           Info(session, "QXRQ", "SUCC", "Cube view returned 10 cells.");
}

// An administration action on a source: a request of its own.
std::string Admin(const std::string& session, const std::string& source) {
    return Record(
        {"I", kStamp, kZone, kDifference, session, "9", "QXES", "COPY", "Report," + source});
}

std::string Garbage(size_t size) {
    std::mt19937 random(5);
    std::string bytes(size, '\0');
    for (char& byte : bytes) {
        byte = static_cast<char>(random() & 0xff);
    }
    return bytes;
}

// One hostile file: its content, the same file with only its good lines
// (empty when nothing in it is an audit record to load), and the numbered
// messages it must cause.
struct HostileFile {
    std::string name;
    std::string content;
    std::string goodLines;
    std::set<std::string> messages;
};

const char kInjectionSource[] = "x' OR 'a'='a";
const char kInjectionUser[] = "'); DROP TABLE QXES_SESSION; --";
const char kQuotedUser[] = "O'Brien \"the \\\\ great\" \\' '' \\";

// Where a file is only partly hostile, its good part begins the file.
std::string GoodPart(const std::string& file) {
    return Opening(file) + Request("G-" + file);
}

std::vector<HostileFile> Named(std::vector<HostileFile> files) {
    for (HostileFile& file : files) {
        file.name = "qxes_audit_" + file.name + ".log";
    }
    return files;
}

std::vector<HostileFile> HostileFiles() {
    const std::string megabyte(1 << 20, 'S');
    const auto good = GoodPart;
    return Named({
        {"garbage", Garbage(64 * 1024), "", {"AFP-0028"}},
        {"empty", "", "", {"AFP-0024"}},
        {"headeronly", AuditSupport::kAuditFileHeader, "", {"AFP-0024"}},
        {"crlf", Opening("crlf", "\r\n") + Request("H2"), "", {"AFP-0028"}},
        {"noversion",
         std::string(AuditSupport::kAuditFileHeader) +
             Record({"G", kStamp, kZone, kDifference, "0", "0", "QXES", "FGN", "1"}) +
             Request("H3"),
         "",
         {"AFP-0029"}},
        {"badversion",
         std::string(AuditSupport::kAuditFileHeader) +
             Record({"v", kStamp, kZone, kDifference, "0", "0", "QXES", "1", "9.1.0"}) +
             Request("H4"),
         "",
         {"AFP-0029"}},
        // NUL in the session identifier cuts the line short; a line of NULs reads as blank.
        {"nulbytes",
         good("nulbytes") + Info(std::string("H5\0evil", 7), "QXDS", "USR", "nul") +
             std::string(100, '\0') + "\n" + Request("H5"),
         good("nulbytes") + Request("H5"),
         {"AFP-0026"}},
        // Read in pieces of the line buffer, none of which is a record.
        {"megabyte",
         good("megabyte") + "I\t\t" + std::string(kStamp) + "\t\tUTC\t\t" + megabyte +
             "\t\t1\t\tQXDS\t\tUSR\t\tbig\n" + std::string(1 << 20, 'x') + "\n" + Request("H6"),
         good("megabyte") + Request("H6"),
         {"AFP-0026"}},
        {"truncated",
         good("truncated") + "I\t\t" + kStamp + "\t\tUTC\t\t\n" + "U\t\t2011-03-04:17:0\n" +
             Record({"I", kStamp, kZone, kDifference, "H7", "1", "QXRQ"}) + Request("H7") +
             "I\t\t" + kStamp + "\t\tUTC\t\tTime Zone",  // the last line, without its newline
         good("truncated") + Request("H7"),
         {"AFP-0026"}},
        {"unknowntype",
         good("unknowntype") +
             Record({"X", kStamp, kZone, kDifference, "H8", "1", "QXDS", "USR", "x"}) +
             Record({"?", "?", "?", "?", "?", "?", "?", "?", "?"}) + Request("H8"),
         good("unknowntype") + Request("H8"),
         {"AFP-0026"}},
        {"quotes",
         Opening("quotes") + Request("H9'\"\\", "Sa'les\\\"", kQuotedUser) +
             Request("H9", "\\'", "\\") + Admin("H9", kQuotedUser),
         Opening("quotes") + Request("H9'\"\\", "Sa'les\\\"", kQuotedUser) +
             Request("H9", "\\'", "\\") + Admin("H9", kQuotedUser),
         {}},
        {"injection",
         Opening("injection") + Request("H10", kInjectionSource, kInjectionUser) +
             Request("' OR '1'='1", kInjectionUser, kInjectionSource) +
             Admin("H10", kInjectionUser),
         Opening("injection") + Request("H10", kInjectionSource, kInjectionUser) +
             Request("' OR '1'='1", kInjectionUser, kInjectionSource) +
             Admin("H10", kInjectionUser),
         {}},
    });
}

// The message identifiers shown for each file, read from the output.
std::map<std::string, std::set<std::string>> MessagesByFile(const std::string& output,
                                                            const std::string& directory) {
    std::map<std::string, std::set<std::string>> messages;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("AFP-", 0) != 0) {
            continue;
        }
        const size_t at = line.rfind(directory + "/");
        if (at == std::string::npos) {
            messages[""].insert(line.substr(0, 8));
            continue;
        }
        const std::string rest = line.substr(at + directory.size() + 1);
        messages[rest.substr(0, rest.find(".log") + 4)].insert(line.substr(0, 8));
    }
    return messages;
}

class HostileInputTest : public ::testing::TestWithParam<TestBackend> {
  protected:
    void SetUp() override {
        AFP_REQUIRE_DATABASE(m_hostile);
        AFP_REQUIRE_DATABASE(m_good);
    }

    // Loads the hostile files with one run, and their good lines alone into
    // the second database; then compares messages, names and tables.
    void LoadAndCompare(const std::vector<HostileFile>& files) {
        const std::string hostile = m_scratch / "hostile";
        const std::string good = m_scratch / "good";
        std::filesystem::create_directories(hostile);
        std::filesystem::create_directories(good);
        for (const HostileFile& file : files) {
            WriteFile(hostile + "/" + file.name, file.content);
            if (!file.goodLines.empty()) {
                WriteFile(good + "/" + file.name, file.goodLines);
            }
        }

        const ProcessResult goodRun = RunLoader(m_good, good, 3);
        ASSERT_EQ(goodRun.exitStatus, 0);
        ASSERT_EQ(goodRun.out, "");

        const ProcessResult run = RunLoader(m_hostile, hostile, 3);
        EXPECT_EQ(run.exitStatus, 0) << run.err;  // 128 + a signal after a crash
        // Loading never stops on these: each file is loaded or set aside.
        EXPECT_EQ(PendingFiles(hostile), std::vector<std::string>());
        const auto messages = MessagesByFile(run.out, hostile);
        for (const HostileFile& file : files) {
            const auto shown = messages.find(file.name);
            EXPECT_EQ(shown == messages.end() ? std::set<std::string>() : shown->second,
                      file.messages)
                << file.name;
        }
        EXPECT_EQ(messages.count(""), 0u) << "messages about no file";
        EXPECT_EQ(TableDifferences(DumpTables(m_good), DumpTables(m_hostile)), "");
    }

    ScratchDirectory m_scratch;
    TestDatabase m_hostile{GetParam()};
    TestDatabase m_good{GetParam()};
};

TEST_P(HostileInputTest, BadFilesAreSetAsideWithTheirMessageAndOnlyGoodLinesAreLoaded) {
    ASSERT_NO_FATAL_FAILURE(LoadAndCompare(HostileFiles()));

    // The quoted and injected values land as written, and every table is still there.
    for (const char* table : kAuditTables) {
        EXPECT_GT(m_hostile.countRows(table), 0) << table;
    }
    using Rows = std::vector<std::vector<std::string>>;
    EXPECT_EQ(m_hostile.query("SELECT USER_NAME FROM QXES_SESSION WHERE SESSION_ID = 'H10'"),
              (Rows{{kInjectionUser}}));
    EXPECT_EQ(m_hostile.query("SELECT SOURCE_NAME FROM QXES_USER_SOURCE WHERE SESSION_ID = 'H10'"),
              (Rows{{kInjectionSource}}));
    EXPECT_EQ(m_hostile.query("SELECT USER_NAME FROM QXES_SESSION WHERE SESSION_ID = 'H9''\"\\'"),
              (Rows{{kQuotedUser}}));
}

// Left to the database, SQLite would store such lines and PostgreSQL would stop
// loading on them for good.
TEST_P(HostileInputTest, LinesThatAreNotUtf8AreRefusedOnEveryBackend) {
    LoadAndCompare(Named({
        {"utf8",
         GoodPart("utf8") + Request("H11\xff", "Sa\xc3les", "\xed\xa0\x80\xc0\xaf") +
             Info("H11", "QXDS", "USR", "\xf8\x88\x80\x80\x80"),
         GoodPart("utf8"),
         {"AFP-0026"}},
    }));
}

// The session and source rows of such a line would otherwise be written before
// its request row is refused.
TEST_P(HostileInputTest, LinesWithImpossibleTimeStampsWriteNothing) {
    LoadAndCompare(Named({
        {"badstamps",
         GoodPart("badstamps") +
             Record({"I", "2011-03-0", kZone, kDifference, "H12", "1", "QXRQ", "REQINFO",
                     "Sales,cube,\"/x\",,0"}) +
             Record({"I", "2011-02-30:25:61:61.000", kZone, kDifference, "H13", "2", "QXRQ",
                     "REQINFO", "Sales,cube,\"/x\",,0"}),
         GoodPart("badstamps"),
         {"AFP-0026"}},
    }));
}

INSTANTIATE_TEST_SUITE_P(Backends, HostileInputTest,
                         ::testing::Values(TestBackend::kSQLite, TestBackend::kPostgreSQL),
                         TestBackendName());

}  // namespace
