// The loading loop end to end, in process: real audit files in a scratch
// directory loaded into a real audit database.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "../support/messageCapture.h"
#include "cppWebException.h"
#include "loadingTestSupport.h"
#include "testDatabase.h"

namespace {

using namespace loadingTest;
using Rows = std::vector<std::vector<std::string>>;

// Hosts host<first> to host<last>, one start-up line each.
std::vector<std::string> Startups(int first, int last) {
    std::vector<std::string> lines;
    for (int i = first; i <= last; ++i) {
        lines.push_back(Startup("host" + std::to_string(i)));
    }
    return lines;
}

std::vector<std::string> Joined(std::vector<std::string> lines,
                                const std::vector<std::string>& more) {
    lines.insert(lines.end(), more.begin(), more.end());
    return lines;
}

class LoadingTest : public ::testing::TestWithParam<TestBackend> {
  protected:
    void SetUp() override { AFP_REQUIRE_DATABASE(m_database); }

    // One run over the directory; the error code it stopped with, or 0.
    int Run(int rowCount, bool deleteAuditFiles = false) {
        AFPOptions options = LoadingOptions(m_dir.path(), rowCount);
        options.deleteAuditFiles = deleteAuditFiles;
        ParserUnderTest parser(options, &m_database.db(), "/");
        try {
            parser.ParseDir();
        } catch (const CPPWebException& error) {
            return error.getErrorCode();
        }
        return 0;
    }

    std::vector<std::string> Hosts() {
        std::vector<std::string> hosts;
        for (const auto& row :
             m_database.query("SELECT MACHINE_NAME FROM QXES_DISPATCHER ORDER BY MACHINE_NAME")) {
            hosts.push_back(row.at(0));
        }
        return hosts;
    }
    static std::vector<std::string> HostNames(int first, int last) {
        std::vector<std::string> hosts;
        for (int i = first; i <= last; ++i) {
            hosts.push_back("host" + std::to_string(i));
        }
        std::sort(hosts.begin(), hosts.end());
        return hosts;
    }

    TestDatabase m_database{GetParam()};
    ScratchDir m_dir;
    MessageCapture m_messages;
};

TEST_P(LoadingTest, OnlyFinishedAuditFilesAreLoaded) {
    WriteFile(m_dir / "qxes_audit.log", AuditFile({Startup("live")}));
    WriteFile(m_dir / "qxes_audit_1.LOG", AuditFile({Startup("rolled")}));
    WriteFile(m_dir / "other.log", AuditFile({Startup("other")}));
    WriteFile(m_dir / "qxes_audit_2.txt", AuditFile({Startup("text")}));
    WriteFile(m_dir / "old_qxes_audit.log.log", AuditFile({Startup("old")}));
    ASSERT_EQ(mkdir((m_dir / "qxes_audit_d.log").c_str(), 0700), 0);
    WriteFile(m_dir / "qxes_audit_d.log/qxes_audit_3.log", AuditFile({Startup("nested")}));

    EXPECT_EQ(Run(10), 0);
    EXPECT_EQ(Hosts(), std::vector<std::string>{"rolled"});
    EXPECT_EQ(m_dir.Names(), (std::set<std::string>{"qxes_audit.log", "qxes_audit_1.___",
                                                    "other.log", "qxes_audit_2.txt",
                                                    "old_qxes_audit.log.log", "qxes_audit_d.log"}));
    EXPECT_EQ(m_messages.Text(), "");
}

TEST_P(LoadingTest, BatchesCommitEveryRowCountLinesCountedFromTheVersionLine) {
    // Start-up lines at line numbers 3 to 25; the stopper at 26 rolls back the
    // open batch, so the rows that remain show where the commits fell.
    struct Case {
        int rowCount;
        int lastCommittedHost;  // hosts 3 to this one remain
        std::string resumeName;
    };
    const std::vector<Case> cases = {
        {10, 19, "qxes_audit_c.20.log"}, {2, 25, "qxes_audit_c.26.log"},
        {1, 25, "qxes_audit_c.26.log"},  {7, 20, "qxes_audit_c.21.log"},
        {0, 2, "qxes_audit_c.1.log"},    {30, 2, "qxes_audit_c.1.log"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE("row count " + std::to_string(c.rowCount));
        m_database.exec("DELETE FROM QXES_DISPATCHER");
        for (const std::string& name : m_dir.Names()) {
            std::remove((m_dir / name).c_str());
        }
        WriteFile(m_dir / "qxes_audit_c.log", AuditFile(Joined(Startups(3, 25), {Stopper()})));
        EXPECT_EQ(Run(c.rowCount), 2);
        EXPECT_EQ(Hosts(), HostNames(3, c.lastCommittedHost));
        EXPECT_EQ(m_dir.Names(), std::set<std::string>{c.resumeName});
    }
}

TEST_P(LoadingTest, StoppedFileKeepsItsBatchStartAndResumesWithoutLossOrDuplicates) {
    // Lines 1 to 5: version, general, hosts 3 and 4, the stopper.
    WriteFile(m_dir / "qxes_audit_a.log", AuditFile(Joined(Startups(3, 4), {Stopper()})));
    EXPECT_EQ(Run(2), 2);
    EXPECT_EQ(m_dir.Names(), std::set<std::string>{"qxes_audit_a.4.log"});
    EXPECT_EQ(Hosts(), HostNames(3, 3));
    const std::string messages = m_messages.Text();
    EXPECT_NE(messages.find("AFP-0027: " + Stopper().substr(0, Stopper().size() - 1)),
              std::string::npos)
        << messages;
    EXPECT_NE(messages.find("AFP-0047: KRL_ASSERT(FALSE);"), std::string::npos) << messages;

    // The administrator fixes the line; line 4, the first of the rolled-back
    // batch, is loaded once, and so is everything after it.
    WriteFile(m_dir / "qxes_audit_a.4.log", AuditFile(Startups(3, 5)));
    EXPECT_EQ(Run(2), 0);
    EXPECT_EQ(m_dir.Names(), std::set<std::string>{"qxes_audit_a.4.___"});
    EXPECT_EQ(Hosts(), HostNames(3, 5));
}

TEST_P(LoadingTest, ResumedFileSkipsTheLinesBetweenThreeAndTheLineBeforeTheBatch) {
    // Line 10 would stop the load if it were read: it lies in the skipped span
    // 4 to 48. Lines 50 on are written, line 49 is only read.
    std::vector<std::string> lines = Startups(3, 60);
    lines.at(10 - 3) = Stopper();
    WriteFile(m_dir / "qxes_audit_s.50.log", AuditFile(lines));
    EXPECT_EQ(Run(10), 0);
    EXPECT_EQ(Hosts(), HostNames(50, 60));
}

TEST_P(LoadingTest, ResumeNumberOneLoadsTheWholeFileAgain) {
    WriteFile(m_dir / "qxes_audit_b.1.log", AuditFile(Startups(3, 6)));
    EXPECT_EQ(Run(10), 0);
    EXPECT_EQ(Hosts(), HostNames(3, 6));
    EXPECT_EQ(m_dir.Names(), std::set<std::string>{"qxes_audit_b.1.___"});
}

TEST_P(LoadingTest, UsageCountsLineThatBeganTheRolledBackBatchIsWrittenOnce) {
    // Line 5, the counts line, begins the batch that the stopper at line 6
    // rolls back. Read again while its run is still catching up it is refused;
    // it must be written all the same, exactly as an uninterrupted load does.
    const std::vector<std::string> usage = {Usage("QXUC", "D1,M;L1;MC1"),
                                            Usage("QXUH", "Dim1,Measures;Lev1;Meas1"),
                                            Usage("QXUD", "5,8;2;4")};
    const char* const kTables[] = {"QXES_DIM_USAGE", "QXES_LEVEL_USAGE", "QXES_MEASURE_USAGE"};

    WriteFile(m_dir / "qxes_audit_u.log", AuditFile(Joined(usage, {Startup("host7")})));
    ASSERT_EQ(Run(5), 0);
    std::vector<Rows> uninterrupted;
    for (const char* table : kTables) {
        uninterrupted.push_back(m_database.query(std::string("SELECT * FROM ") + table));
        ASSERT_FALSE(uninterrupted.back().empty()) << table;
        m_database.exec(std::string("DELETE FROM ") + table);
    }
    m_database.exec("DELETE FROM QXES_DISPATCHER");
    std::remove((m_dir / "qxes_audit_u.___").c_str());

    WriteFile(m_dir / "qxes_audit_u.log", AuditFile(Joined(usage, {Stopper()})));
    ASSERT_EQ(Run(5), 2);
    ASSERT_EQ(m_dir.Names(), std::set<std::string>{"qxes_audit_u.5.log"});
    WriteFile(m_dir / "qxes_audit_u.5.log", AuditFile(Joined(usage, {Startup("host7")})));
    ASSERT_EQ(Run(5), 0);
    for (size_t i = 0; i < uninterrupted.size(); ++i) {
        EXPECT_EQ(m_database.query(std::string("SELECT * FROM ") + kTables[i]), uninterrupted[i])
            << kTables[i];
    }
    EXPECT_EQ(Hosts(), std::vector<std::string>{"host7"});
}

TEST_P(LoadingTest, FilesThatCannotBeLoadedAreSetAsideWithTheirMessage) {
    struct Case {
        std::string content;
        std::string message;
    };
    const std::string header = AuditSupport::kAuditFileHeader;
    std::string crlfHeader = header;
    crlfHeader.insert(crlfHeader.size() - 1, "\r");
    const std::vector<Case> cases = {
        {"", "AFP-0024:"},
        {crlfHeader + Version() + Startup("host1"), "AFP-0028:"},
        {header.substr(0, header.size() - 1) + Version() + Startup("host1"), "AFP-0028:"},
        {header + Startup("host1") + Startup("host2"), "AFP-0029:"},
    };
    for (size_t i = 0; i < cases.size(); ++i) {
        const std::string name = "qxes_audit_" + std::to_string(i);
        WriteFile(m_dir / (name + ".log"), cases[i].content);
        MessageCapture capture;
        EXPECT_EQ(Run(10), 0);
        EXPECT_EQ(Count(capture.Text(), "AFP-00"), 1u) << i << ": " << capture.Text();
        EXPECT_NE(capture.Text().find(cases[i].message + " " + (m_dir / (name + ".log"))),
                  std::string::npos)
            << i << ": " << capture.Text();
        EXPECT_EQ(m_dir.Names(), std::set<std::string>{name + ".___"}) << i;
        std::remove((m_dir / (name + ".___")).c_str());
    }
    EXPECT_TRUE(Hosts().empty());
}

TEST_P(LoadingTest, RefusedLinesAreReportedAndSkippedBlankLinesSilently) {
    const std::string xLine =
        Record({"X", kStamp, "UTC", "Time Zone: GMT + 0:00", "0", "0", "QXES", "SRV", "x:1"});
    // Taken without any work; its tail beyond the line buffer is not.
    const std::string longLine = Record({"I", kStamp, "UTC", "off", "0", "0", "QXES", "QXUI",
                                         std::string(Parser::kLineBufferSize, 'g')});
    WriteFile(m_dir / "qxes_audit_r.log",
              AuditFile({Startup("host1"), "\n", "\t\t\n", xLine, longLine, Startup("host2"),
                         Startup("host3")}) +
                  Startup("host4").substr(0, Startup("host4").size() - 1));
    EXPECT_EQ(Run(10), 0);
    // The last line has no newline: it is read but never handled.
    EXPECT_EQ(Hosts(), HostNames(1, 3));
    const std::string text = m_messages.Text();
    EXPECT_EQ(Count(text, "AFP-0026:"), 2u) << text;
    EXPECT_NE(text.find("AFP-0026: " + xLine.substr(0, xLine.size() - 1) + " " +
                        (m_dir / "qxes_audit_r.log")),
              std::string::npos)
        << text;
    // The long line's tail came as a line of its own.
    EXPECT_NE(text.find("AFP-0026: ggg"), std::string::npos);
}

TEST_P(LoadingTest, ErrorLogHasOneBannerPerFileWithMessages) {
    const std::string xLine = Record({"X", kStamp, "UTC", "off", "0", "0", "QXES", "SRV", "x"});
    WriteFile(m_dir / "qxes_audit_1.log", AuditFile({xLine, xLine}));
    WriteFile(m_dir / "qxes_audit_2.log", AuditFile({Startup("quiet")}));
    WriteFile(m_dir / "qxes_audit_3.log", AuditFile({xLine}));
    EXPECT_EQ(Run(10), 0);
    const std::string text = m_messages.Text();
    const std::string banner = "***********************************************\n* ";
    EXPECT_EQ(Count(text, banner), 2u) << text;
    EXPECT_EQ(Count(text, banner + (m_dir / "qxes_audit_1.log") + "\nAFP-0026:"), 1u) << text;
    EXPECT_EQ(Count(text, banner + (m_dir / "qxes_audit_3.log") + "\nAFP-0026:"), 1u) << text;
    EXPECT_EQ(Count(text, "AFP-0026:"), 3u) << text;
}

TEST_P(LoadingTest, DeletionRemovesOnlyDisposableFiles) {
    WriteFile(m_dir / "qxes_audit_1.log", AuditFile({Startup("host1")}));
    WriteFile(m_dir / "qxes_audit_2.log", "");  // not disposable: tried again
    WriteFile(m_dir / "qxes_audit_3.log", "not an audit file\n");
    EXPECT_EQ(Run(10, true), 0);
    EXPECT_EQ(m_dir.Names(), std::set<std::string>{"qxes_audit_2.log"});
    EXPECT_EQ(Hosts(), std::vector<std::string>{"host1"});
}

TEST_P(LoadingTest, MissingDirectoryStopsTheRun) {
    AFPOptions options = LoadingOptions(m_dir / "missing", 10);
    ParserUnderTest parser(options, &m_database.db(), "/");
    try {
        parser.ParseDir();
        ADD_FAILURE() << "a missing directory must stop the run";
    } catch (const CPPWebException& error) {
        EXPECT_EQ(error.getErrorCodeMessage().rfind("AFP-0022:"), 0u);
        EXPECT_NE(error.getErrorCodeMessage().find(m_dir / "missing"), std::string::npos);
    }
}

INSTANTIATE_TEST_SUITE_P(Backends, LoadingTest,
                         ::testing::Values(TestBackend::kSQLite, TestBackend::kPostgreSQL),
                         TestBackendName());

}  // namespace
