// The loading loop over real audit files in a scratch directory, loaded into a
// real audit database, in process and through the built program.
#include <gtest/gtest.h>

#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "../../support/auditFiles.h"
#include "../../support/messageCapture.h"
#include "../../support/thrown.h"
#include "afpOptions.h"
#include "cppWebException.h"
#include "parser.h"

namespace {

using namespace auditFiles;
using Names = std::vector<std::string>;

// Hosts host<first> to host<last>: one start-up line each, then `more`; or
// their names sorted.
Names Startups(int first, int last, const std::string& more = "") {
    Names lines;
    for (int i = first; i <= last; ++i) {
        lines.push_back(Startup("host" + std::to_string(i)));
    }
    lines.push_back(more);
    return lines;
}
Names HostNames(int first, int last) {
    Names hosts;
    for (int i = first; i <= last; ++i) {
        hosts.push_back("host" + std::to_string(i));
    }
    std::sort(hosts.begin(), hosts.end());
    return hosts;
}
class LoadingTest : public ::testing::TestWithParam<TestBackend> {
  protected:
    void SetUp() override {
        AFP_REQUIRE_DATABASE(m_database);
        InstallStopper(m_database);
    }

    // One run over the directory; the error code it stopped with, or 0.
    int Run(int rowCount, bool deleteAuditFiles = false) {
        AFPOptions options;
        options.auditLocation = m_dir.path();
        options.transactionRowCount = rowCount;
        options.deleteAuditFiles = deleteAuditFiles;
        Parser parser(options, &m_database.db(), "/");
        try {
            parser.ParseDir();
        } catch (const CPPWebException& error) {
            return error.getErrorCode();
        }
        return 0;
    }
    // Starts the directory over with one file.
    void Only(const std::string& name, const std::string& content) {
        for (const std::string& old : NamesIn(m_dir.path())) {
            std::filesystem::remove_all(m_dir / old);
        }
        WriteFile(m_dir / name, content);
    }
    Names Hosts() {
        Names hosts;
        for (const auto& row :
             m_database.query("SELECT MACHINE_NAME FROM QXES_DISPATCHER ORDER BY MACHINE_NAME")) {
            hosts.push_back(row.at(0));
        }
        return hosts;
    }

    TestDatabase m_database{GetParam()};
    ScratchDirectory m_dir;
    MessageCapture m_messages;
};

TEST_P(LoadingTest, OnlyFinishedAuditFilesAreLoaded) {
    for (const char* name : {"qxes_audit.log", "qxes_audit_1.LOG", "other.log", "qxes_audit_2.txt",
                             "old_qxes_audit.log.log"}) {
        WriteFile(m_dir / name, AuditFile({Startup(name)}));
    }
    std::filesystem::create_directory(m_dir / "qxes_audit_d.log");
    WriteFile(m_dir / "qxes_audit_d.log/qxes_audit_3.log", AuditFile({Startup("nested")}));

    EXPECT_EQ(Run(10), 0);
    EXPECT_EQ(Hosts(), Names{"qxes_audit_1.LOG"});
    EXPECT_EQ(NamesIn(m_dir.path()),
              (Names{"old_qxes_audit.log.log", "other.log", "qxes_audit.log", "qxes_audit_1.___",
                     "qxes_audit_2.txt", "qxes_audit_d.log"}));
    EXPECT_EQ(m_messages.Text(), "");
}

TEST_P(LoadingTest, BatchesCommitEveryRowCountLinesCountedFromTheVersionLine) {
    // Start-up lines at line numbers 3 to 25; the stopper at 26 rolls back the
    // open batch, so the rows that remain show where the commits fell.
    const struct {
        int rowCount;
        int lastCommittedHost;
        const char* resumeName;
    } cases[] = {
        {10, 19, "qxes_audit_c.20.log"}, {2, 25, "qxes_audit_c.26.log"},
        {1, 25, "qxes_audit_c.26.log"},  {7, 20, "qxes_audit_c.21.log"},
        {0, 2, "qxes_audit_c.1.log"},    {30, 2, "qxes_audit_c.1.log"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE("row count " + std::to_string(c.rowCount));
        m_database.exec("DELETE FROM QXES_DISPATCHER");
        m_database.exec("DELETE FROM QXES_LOAD_PROGRESS");
        Only("qxes_audit_c.log", AuditFile(Startups(3, 25, Stopper())));
        EXPECT_EQ(Run(c.rowCount), 2);
        EXPECT_EQ(Hosts(), HostNames(3, c.lastCommittedHost));
        EXPECT_EQ(NamesIn(m_dir.path()), Names{c.resumeName});
    }
}

TEST_P(LoadingTest, UsageCountsLineThatBeganTheRolledBackBatchIsWrittenOnce) {
    // Line 5, the counts line, begins the batch that the stopper at line 6
    // rolls back. Read again while its run is still catching up it is
    // refused; it must be written all the same, as an uninterrupted load does.
    const std::string usage = Usage("QXUC", "D1,M;L1;MC1") +
                              Usage("QXUH", "Dim1,Measures;Lev1;Meas1") + Usage("QXUD", "5,8;2;4");
    Only("qxes_audit_u.log", AuditFile({usage, Startup("host7")}));
    ASSERT_EQ(Run(5), 0);
    const TableDump uninterrupted = DumpTables(m_database);
    ASSERT_FALSE(uninterrupted.at("QXES_LEVEL_USAGE").empty());
    for (const char* table : kAuditTables) {
        m_database.exec(std::string("DELETE FROM ") + table);
    }
    m_database.exec("DELETE FROM QXES_LOAD_PROGRESS");

    Only("qxes_audit_u.log", AuditFile({usage, Stopper()}));
    ASSERT_EQ(Run(5), 2);
    ASSERT_EQ(NamesIn(m_dir.path()), Names{"qxes_audit_u.5.log"});
    WriteFile(m_dir / "qxes_audit_u.5.log", AuditFile({usage, Startup("host7")}));
    ASSERT_EQ(Run(5), 0);
    EXPECT_EQ(uninterrupted, DumpTables(m_database));
}

// Blank lines are skipped silently; each refused line is reported under one
// banner per file that has messages.
TEST_P(LoadingTest, RefusedLinesAreReportedUnderOneBannerPerFile) {
    const std::string xLine = Record(Line("X", "QXES", "SRV", "0", "0", "x:1"));
    // Taken whole without any work: no tail of it passes for a line of its own.
    const std::string longLine = Record(Info("QXES", "QXUI", "0", "0", std::string(20000, 'g')));
    const std::string last = Startup("host4");
    WriteFile(m_dir / "qxes_audit_1.log",
              AuditFile({Startup("host1"), "\n", "\t\t\n", xLine, longLine, Startup("host2"),
                         Startup("host3"), last.substr(0, last.size() - 1)}));
    WriteFile(m_dir / "qxes_audit_2.log", AuditFile({Startup("host5")}));
    WriteFile(m_dir / "qxes_audit_3.log", AuditFile({xLine}));
    EXPECT_EQ(Run(10), 0);
    EXPECT_EQ(Hosts(),
              (Names{"host1", "host2", "host3", "host5"}));  // the last line has no newline
    const std::string text = m_messages.Text();
    const std::string banner = "***********************************************\n* ";
    EXPECT_EQ(Count(text, banner), 2u) << text;
    EXPECT_EQ(Count(text, banner + (m_dir / "qxes_audit_1.log") +
                              "\nAFP-0026: " + xLine.substr(0, xLine.size() - 1) + " " +
                              (m_dir / "qxes_audit_1.log")),
              1u)
        << text;
    EXPECT_EQ(Count(text, banner + (m_dir / "qxes_audit_3.log") + "\nAFP-0026:"), 1u) << text;
    EXPECT_EQ(Count(text, "AFP-0026: ggg"), 0u) << text;
    EXPECT_EQ(Count(text, "AFP-0026:"), 2u) << text;
}

// A database from an older schema gets the bookkeeping tables; one where
// they cannot be made is loaded as before, with the reason said once.
TEST_P(LoadingTest, BookkeepingTablesAreMadeWhenMissingOrTheirLackIsSaidOnce) {
    m_database.exec("DROP TABLE QXES_LOAD_PROGRESS");
    m_database.exec("DROP TABLE QXES_USAGE_PENDING");
    WriteFile(m_dir / "qxes_audit_1.log", AuditFile({Startup("host1")}));
    EXPECT_EQ(Run(10), 0);
    EXPECT_EQ(m_database.countRows("QXES_LOAD_PROGRESS"), 1);
    EXPECT_EQ(m_messages.Text(), "");

    m_database.exec("DROP TABLE QXES_LOAD_PROGRESS");
    m_database.exec("CREATE VIEW QXES_LOAD_PROGRESS AS SELECT 1 AS FILE_NAME");
    WriteFile(m_dir / "qxes_audit_2.log", AuditFile({Startup("host2")}));
    WriteFile(m_dir / "qxes_audit_3.log", AuditFile({Startup("host3")}));
    EXPECT_EQ(Run(10), 0);
    EXPECT_EQ(Hosts(), HostNames(1, 3));
    EXPECT_EQ(Count(m_messages.Text(), "AFP-0048: "), 1u) << m_messages.Text();
    EXPECT_EQ(PendingFiles(m_dir.path()), Names());
}

TEST_P(LoadingTest, DeletionRemovesOnlyDisposableFiles) {
    WriteFile(m_dir / "qxes_audit_1.log", AuditFile({Startup("host1")}));
    WriteFile(m_dir / "qxes_audit_2.log", "");  // not disposable: tried again
    WriteFile(m_dir / "qxes_audit_3.log", "not an audit file\n");
    EXPECT_EQ(Run(10, true), 0);
    EXPECT_EQ(NamesIn(m_dir.path()), Names{"qxes_audit_2.log"});
    EXPECT_EQ(Hosts(), Names{"host1"});
}

TEST_P(LoadingTest, MissingAuditTableStopsTheRunWithItsCause) {
    m_database.exec("DROP TABLE QXES_LEVEL_USAGE");
    const std::string text = Thrown([&] { Parser parser(AFPOptions(), &m_database.db(), "/"); });
    EXPECT_EQ(text.rfind("AFP-0006:", 0), 0u) << text;
    // PostgreSQL names the table in lower case.
    EXPECT_TRUE(text.find("QXES_LEVEL_USAGE") != std::string::npos ||
                text.find("qxes_level_usage") != std::string::npos)
        << text;
    EXPECT_FALSE(m_database.db().isTransactionOpen());
}

AFP_ON_BOTH_BACKENDS(LoadingTest);

// Through the program: a hand-written file of every record kind gives, in
// order, the statements on the audit tables of a dump kept beside it.
TEST(LoadingDump, EveryRecordKindBecomesTheExpectedStatements) {
    const auto statements = [](const std::string& text) {
        Names found;
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line);) {
            const bool bookkeeping = line.find("QXES_LOAD_PROGRESS") != std::string::npos ||
                                     line.find("QXES_USAGE_PENDING") != std::string::npos;
            if (!bookkeeping && std::regex_search(line, std::regex("^(INSERT|UPDATE|SELECT) "))) {
                found.push_back(line);
            }
        }
        return found;
    };
    const std::string data = std::string(AFP_SOURCE_DIR) + "/tests/data/handlers/";
    TestDatabase database;
    AFP_REQUIRE_DATABASE(database);
    ScratchDirectory dir;
    WriteFile(dir / "qxes_audit_allformats.log", ReadFile(data + "qxes_audit_allformats.log"));
    const ProcessResult result =
        RunProcess(LoaderCommand(database, dir.path(), 10, {{"-df", dir / "dump.sql"}}));
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(WithoutSummary(result.out), "");

    const std::string dump = ReadFile(dir / "dump.sql");
    // The connection options (the password masked), then the connection report.
    EXPECT_EQ(dump.rfind(database.dbName() + "\t\t" + database.dbUser() +
                             "\t********\tSQ\nDatabase: " + database.dbName() + " Server Version: ",
                         0),
              0u)
        << dump.substr(0, 200);
    const Names expected = statements(ReadFile(data + "qxes_audit_allformats.sql"));
    ASSERT_EQ(expected.size(), 35u);
    EXPECT_EQ(statements(dump), expected);
    EXPECT_EQ(database.countRows("QXES_REQUEST"), 6);
    EXPECT_EQ(NamesIn(dir.path()), (Names{"dump.sql", "qxes_audit_allformats.___"}));
}

}  // namespace
