// The programs as users and schedulers run them: usage, help and version under
// any locale or without the catalogue, the run summary and the run reports
// against the tables, the exit status of each kind of ending, a run from cron's
// bare environment, secrets kept off the command line and out of the dump, and
// output paths that must not be followed or that stop taking writes.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <regex>
#include <string>
#include <vector>

#include "../support/auditFiles.h"
#include "exitStatus.h"

namespace {

using namespace auditFiles;
using Arguments = std::vector<std::string>;

const std::regex kSummary(
    "AFP-0058: Run finished at "
    "[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}[+-][0-9]{2}:[0-9]{2} "
    "in [0-9]+\\.[0-9]{3} s: ([0-9]+) audit files loaded, ([0-9]+) set "
    "aside, ([0-9]+) stopped, [0-9]+ still being written, [0-9]+ waiting; ([0-9]+) lines read, "
    "([0-9]+) refused; ([0-9]+) rows written\\.");

// A line of a type the loader does not know: refused, the file goes on.
std::string Unknown() {
    return Record(Line("X", "QXES", "SRV", "0", "0", "x"));
}

class Operability : public ::testing::Test {
  protected:
    void SetUp() override {
        AFP_REQUIRE_DATABASE(m_database);
        InstallStopper(m_database);
        std::filesystem::create_directory(m_audit);
        WriteFile(m_passwordFile, m_database.dbPassword() + "\n");
        ::chmod(m_passwordFile.c_str(), 0600);
    }
    // The required options with the password from the private file, then `extra`.
    Arguments Loader(const Arguments& extra = {}) {
        Arguments command = Command(AFP_PROGRAM, {{"-dbname", m_database.dbName()},
                                                  {"-dbconnect", m_database.dbConnect()},
                                                  {"-dbuser", m_database.dbUser()},
                                                  {"-passfile", m_passwordFile},
                                                  {"-auditlocation", m_audit}});
        command.insert(command.end(), extra.begin(), extra.end());
        return command;
    }

    TestDatabase m_database;
    ScratchDirectory m_dir;
    const std::string m_audit = m_dir / "audit";
    const std::string m_passwordFile = m_dir / "db.pass";
};

TEST_F(Operability, SummaryAndRunReportsAgreeWithTheTables) {
    ASSERT_EQ(Generate(m_audit, 7, 3, 300).exitStatus, 0);
    WriteFile(m_audit + "/qxes_audit_refused.log", AuditFile({Startup("hostR"), Unknown()}));
    WriteFile(m_audit + "/qxes_audit_foreign.log", "not an audit file\n");
    const std::string report = m_dir / "reports/run.json", metrics = m_dir / "reports/afp.prom";
    std::filesystem::create_directory(m_dir / "reports");
    WriteFile(metrics, "stale\n");

    const ProcessResult run = RunProcess(Loader({"-df", m_dir / "dump.sql", "-report", report,
                                                 "-metrics", metrics, "-exitstatus", "detailed"}));
    EXPECT_EQ(run.exitStatus, 65) << run.out;
    EXPECT_EQ(run.err, "");
    std::smatch summary;
    ASSERT_TRUE(std::regex_search(run.out, summary, kSummary)) << run.out;
    EXPECT_EQ(Count(run.out, "AFP-0058"), 1u);
    EXPECT_EQ(run.out.substr(run.out.size() - summary.length(0) - 1), summary.str(0) + "\n");
    const auto figure = [&](int index) { return std::stoull(summary.str(index)); };

    // The figures against the files and the tables.
    long long rows = 0;
    for (const char* table : kAuditTables) {
        rows += m_database.countRows(table);
    }
    EXPECT_EQ(figure(1), 4u);
    EXPECT_EQ(figure(2), 1u);
    EXPECT_EQ(figure(3), 0u);
    EXPECT_GT(figure(4), 900u);
    EXPECT_EQ(figure(5), 1u);
    EXPECT_GE(figure(6), static_cast<unsigned long long>(rows));
    EXPECT_GT(rows, 0);

    // The JSON report holds the same figures, file by file.
    const nlohmann::json json = nlohmann::json::parse(ReadFile(report));
    EXPECT_EQ(json["version"], AFP_VERSION);
    EXPECT_EQ(json["status"], 65);
    EXPECT_EQ(json["exitStatus"], 65);
    EXPECT_TRUE(std::regex_match(json["start"].get<std::string>(),
                                 std::regex("\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\dZ")));
    EXPECT_LE(json["start"], json["end"]);
    const nlohmann::json& totals = json["summary"];
    EXPECT_EQ(totals["filesLoaded"], figure(1));
    EXPECT_EQ(totals["filesSetAside"], figure(2));
    EXPECT_EQ(totals["linesRead"], figure(4));
    EXPECT_EQ(totals["linesRefused"], figure(5));
    EXPECT_EQ(totals["rowsWritten"], figure(6));
    std::map<std::string, std::string> outcomes;
    unsigned long long linesRead = 0;
    for (const nlohmann::json& file : json["files"]) {
        outcomes[std::filesystem::path(file["path"].get<std::string>()).filename()] =
            file["outcome"];
        linesRead += file["linesRead"].get<unsigned long long>();
        // Each file under the name it had, and the one it has now.
        const std::string after = file["pathAfter"];
        EXPECT_EQ(after.substr(after.size() - 4), ".___") << after;
        EXPECT_TRUE(std::filesystem::exists(after)) << after;
    }
    EXPECT_EQ(linesRead, figure(4));
    EXPECT_EQ(outcomes.size(), 5u);
    EXPECT_EQ(outcomes["qxes_audit_refused.log"], "loaded");
    EXPECT_EQ(outcomes["qxes_audit_foreign.log"], "set aside");

    // The metrics replace the old file whole, and no temporary file is left.
    const std::string prom = ReadFile(metrics);
    for (const std::string& sample : std::vector<std::string>{
             "qxesauditfileprocessor_last_run_status 65\n",
             "qxesauditfileprocessor_last_run_files{outcome=\"loaded\"} 4\n",
             "qxesauditfileprocessor_last_run_lines_refused 1\n",
             "qxesauditfileprocessor_last_run_rows_written " + summary.str(6) + "\n",
             "qxesauditfileprocessor_info{version=\"" AFP_VERSION "\"} 1\n",
             "qxesauditfileprocessor_audit_files_waiting 0\n"}) {
        EXPECT_NE(prom.find(sample), std::string::npos) << sample << prom;
    }
    EXPECT_EQ(NamesIn(m_dir / "reports"), (std::vector<std::string>{"afp.prom", "run.json"}));
    // A run that cannot load (its database is gone) still tells the backlog and
    // keeps when the last successful run was; the text passes Prometheus's own check.
    const std::string success = "qxesauditfileprocessor_last_success_timestamp_seconds ";
    const std::string lastSuccess = prom.substr(prom.find("\n" + success) + 1);
    WriteFile(m_audit + "/qxes_audit_late.log", AuditFile({Startup("late")}));
    RunProcess(Loader({"-metrics", metrics, "-dbname", m_dir / "gone.db"}));
    const std::string after = ReadFile(metrics);
    EXPECT_NE(after.find(lastSuccess.substr(0, lastSuccess.find('\n') + 1)), std::string::npos);
    EXPECT_NE(after.find("qxesauditfileprocessor_audit_files_waiting 1\n"), std::string::npos);
    EXPECT_NE(after.find("qxesauditfileprocessor_oldest_audit_file_age_seconds 3"),
              std::string::npos)
        << after;  // dated an hour back
    if (RunProcess({"sh", "-c", "command -v promtool"}).exitStatus == 0) {
        const ProcessResult check = RunProcess({"sh", "-c", "promtool check metrics < " + metrics});
        EXPECT_EQ(check.exitStatus, 0) << check.out << check.err;
    }

    // A password read from a file is masked in the dump and appears nowhere in it.
    const std::string dump = ReadFile(m_dir / "dump.sql");
    EXPECT_EQ(dump.substr(0, dump.find('\n')),
              m_database.dbName() + "\t\t" + m_database.dbUser() + "\t********\tSQ");
    EXPECT_EQ(dump.find(m_database.dbPassword()), std::string::npos);
}

TEST_F(Operability, DetailedExitStatusTellsHowTheRunEndedAndTheDefaultStaysZero) {
    const struct {
        const char* name;
        std::string content;  // the one audit file
        Arguments extra;
        int status;
        std::vector<std::string> messages;  // in this order
    } cases[] = {
        {"loaded", AuditFile({Startup("h1")}), {}, 0, {"AFP-0058: "}},
        {"refused", AuditFile({Startup("h2"), Unknown()}), {}, 65, {"AFP-0026: "}},
        // The stopping line, its cause and the run's error code.
        {"stopped",
         AuditFile({Startup("h3"), Stopper()}),
         {},
         75,
         {"AFP-0027: ", Stopper().substr(0, 40), "AFP-0047: ", "the stopper", "AFP-0002:"}},
        {"unreachable", "", {"-dbname", m_dir / "missing.db"}, 69, {"missing.db"}},
        {"usage", "", {"-nbrows"}, 64, {"AFP-0043: "}},
        {"no directory",
         "",
         {"-auditlocation", m_dir / "none"},
         66,
         {"AFP-0022: The audit directory does not exist or is not a directory: " + m_dir / "none"}},
    };
    int fileNumber = 0;
    for (const auto& c : cases) {
        for (const bool detailed : {false, true}) {
            for (const std::string& name : NamesIn(m_audit)) {
                std::filesystem::remove(m_audit + "/" + name);
            }
            // A new name each time: a file recorded as loaded is not read again.
            m_database.exec("DELETE FROM QXES_DISPATCHER");
            if (!c.content.empty()) {
                WriteFile(m_audit + "/qxes_audit_" + std::to_string(++fileNumber) + ".log",
                          c.content);
            }
            Arguments command = Loader(c.extra);
            if (detailed) {
                command.insert(command.end(), {"-exitstatus", "detailed"});
            }
            const ProcessResult run = RunProcess(command);
            EXPECT_EQ(run.exitStatus, detailed ? c.status : 0) << c.name << "\n" << run.out;
            size_t at = 0;
            for (const std::string& message : c.messages) {
                at = run.out.find(message, at);
                EXPECT_NE(at, std::string::npos) << c.name << ": " << message << "\n" << run.out;
            }
            // The summary ends every run that reached the database, and only those.
            const bool connected = c.status != 64 && c.status != 69;
            EXPECT_EQ(Count(run.out, "AFP-0058"), connected ? 1u : 0u) << c.name;
        }
    }
}

// "-check" says where a run would begin to load each file and what is wrong
// with the set-up, with the detailed exit status, and changes nothing.
TEST_F(Operability, CheckModeTellsWhatARunWouldDoAndChangesNothing) {
    WriteFile(m_audit + "/qxes_audit_a.log", AuditFile({Startup("h1")}));
    WriteFile(m_audit + "/qxes_audit_b.5.log", AuditFile({Startup("h2"), Startup("h3")}));
    const struct {
        const char* name;
        Arguments extra;
        int status;
        std::vector<std::string> messages;  // in this order
    } cases[] = {
        {"good",
         {"-df", m_dir / "dump.sql", "-errorlog", m_dir / "errors.log"},
         0,
         {"AFP-0076: Check: the audit file " + m_audit +
              "/qxes_audit_a.log would be loaded from its first line.",
          "qxes_audit_b.5.log would be loaded from line 5 on, the number in its name.",
          "AFP-0078: Check finished: problems found: 0; audit files a run would load: 2."}},
        {"no directory", {"-auditlocation", m_dir / "none"}, 66, {"AFP-0077: ", "does not exist"}},
        {"report path",
         {"-report", m_dir / "none/run.json"},
         73,
         {"AFP-0077: Check: run report " + m_dir / "none/run.json", "problems found: 1;"}},
        {"database", {"-dbname", m_dir / "missing.db"}, 69, {"AFP-0068: "}},
    };
    for (const auto& c : cases) {
        Arguments command = Loader(c.extra);
        command.push_back("-check");
        const ProcessResult run = RunProcess(command);
        EXPECT_EQ(run.exitStatus, c.status) << c.name << "\n" << run.out;
        size_t at = 0;
        for (const std::string& message : c.messages) {
            at = run.out.find(message, at);
            EXPECT_NE(at, std::string::npos) << c.name << ": " << message << "\n" << run.out;
        }
    }
    EXPECT_EQ(NamesIn(m_audit),
              (std::vector<std::string>{"qxes_audit_a.log", "qxes_audit_b.5.log"}));
    EXPECT_EQ(NamesIn(m_dir.path()), (std::vector<std::string>{"audit", "db.pass"}));
    EXPECT_EQ(m_database.countRows("QXES_DISPATCHER"), 0);
}

TEST(Program, UsageHelpAndVersionAnswerOnStandardOutputUnderAnyLocale) {
    // Too few arguments: the usage, one line per option, between the two refusals.
    const std::string usage = "AFP-0039: Usage: qxesauditfileprocessor ";
    std::string options = "^AFP-0044:[\\s\\S]*" + usage;
    for (const char* option : {"-dbname", "-dbconnect", "-dbuser", "-dbpass", "-auditlocation",
                               "-df", "-errorlog", "-nbrows", "-exitonerror"}) {
        options += std::string("[\\s\\S]*\\n  ") + option + " ";
    }
    const struct {
        Arguments command;
        std::string pattern;
    } cases[] = {
        {{AFP_PROGRAM}, options + "[\\s\\S]*AFP-0008:"},
        {{"env", "LC_ALL=xx_YY.NOPE", "LANG=zz", AFP_PROGRAM},
         "AFP-0039: Usage:[\\s\\S]*AFP-0008:"},
        {{AFP_PROGRAM, "--help"}, "^" + usage},
        {{AFP_PROGRAM, "-dbname", "x", "-H"}, "^" + usage},
        {{AFP_PROGRAM, "--version"}, "^AFP-0062: qxesauditfileprocessor " AFP_VERSION "\n$"},
        {{AFP_AUDITGEN, "--help"}, "^usage: qxesauditgen --output DIR"},
        {{AFP_AUDITGEN, "--seed", "1", "-h"}, "^usage: qxesauditgen --output DIR"},
        {{AFP_AUDITGEN, "--version"}, "^qxesauditgen " AFP_VERSION "\n$"},
    };
    for (const auto& c : cases) {
        const ProcessResult run = RunProcess(c.command);
        EXPECT_EQ(run.exitStatus, 0) << c.pattern;
        EXPECT_TRUE(std::regex_search(run.out, std::regex(c.pattern))) << c.pattern << "\n"
                                                                       << run.out;
        EXPECT_EQ(run.err, "") << c.pattern;
    }
}

TEST(Program, WithoutItsCatalogueStillShowsMessageNumbers) {
    ScratchDirectory directory;
    const std::string copy = directory / "qxesauditfileprocessor";
    std::filesystem::copy_file(AFP_PROGRAM, copy);
    const ProcessResult run = RunProcess({copy, "-dbname", "A", "-dbuser", "B", "-q", "x"});
    EXPECT_EQ(run.exitStatus, 0);
    EXPECT_EQ(run.out, "AFP-0042: -q\nAFP-0008:\n");
    EXPECT_NE(run.err.find("afpmsg.cat"), std::string::npos) << run.err;
}

TEST(Program, ABareNameNotOnThePathIsRefusedCleanly) {
    const ProcessResult run = RunProcess({"env", "PATH=/nonexistent", "/bin/bash", "-c",
                                          "exec -a qxesauditfileprocessor " AFP_PROGRAM});
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_NE(run.err.find("cannot find the program's own directory"), std::string::npos)
        << run.err;
    EXPECT_EQ(run.out, "");
}

TEST_F(Operability, RunsFromCronsBareEnvironmentInAnotherDirectory) {
    WriteFile(m_audit + "/qxes_audit_1.log", AuditFile({Startup("h1"), Startup("h2")}));
    std::string command = "cd / && exec env -i PATH=/usr/bin:/bin";
    for (const std::string& argument : Loader({"-exitstatus", "detailed"})) {
        command += " '" + argument + "'";
    }
    const ProcessResult run = RunProcess({"/bin/sh", "-c", command});
    EXPECT_EQ(run.exitStatus, 0) << run.out << run.err;
    EXPECT_EQ(run.err, "");  // the catalogue was found beside the program
    std::smatch summary;
    ASSERT_TRUE(std::regex_search(run.out, summary, kSummary)) << run.out;
    EXPECT_EQ(summary.str(1), "1");
    EXPECT_EQ(m_database.countRows("QXES_DISPATCHER"), 2);
}

TEST_F(Operability, OutputPathsThatAreLinksOrFullAreRefusedOrReported) {
    const std::string target = m_dir / "precious";
    WriteFile(target, "keep\n");
    ::chmod(target.c_str(), 0644);
    std::filesystem::create_symlink(target, m_dir / "dump-link");
    std::filesystem::create_symlink(target, m_dir / "log-link");
    WriteFile(m_audit + "/qxes_audit_1.log", AuditFile({Startup("h1"), Unknown()}));

    ProcessResult run = RunProcess(Loader({"-df", m_dir / "dump-link"}));
    EXPECT_NE(run.out.find("AFP-0055: " + m_dir / "dump-link"), std::string::npos) << run.out;
    WriteFile(m_audit + "/qxes_audit_2.log", AuditFile({Startup("h2"), Unknown()}));
    run = RunProcess(Loader({"-errorlog", m_dir / "log-link"}));
    // Refused once; every message then goes to standard output.
    EXPECT_EQ(Count(run.out, "AFP-0055: " + m_dir / "log-link"), 1u) << run.out;
    EXPECT_NE(run.out.find("AFP-0058: "), std::string::npos) << run.out;
    EXPECT_EQ(ReadFile(target), "keep\n");
    struct stat status;
    ASSERT_EQ(::stat(target.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0644u);
    EXPECT_EQ(m_database.countRows("QXES_DISPATCHER"), 2);

    // An error log that takes no more writes (a full disk) is reported once.
    WriteFile(m_audit + "/qxes_audit_3.log", AuditFile({Startup("h3"), Unknown(), Unknown()}));
    run = RunProcess(Loader({"-errorlog", "/dev/full"}));
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(Count(run.err, "AFP-0054: "), 1u) << run.err;
    EXPECT_NE(run.err.find("/dev/full: No space left on device"), std::string::npos) << run.err;
}

TEST(ExitStatus, TheWorstOutcomeOfTheRunWins) {
    using F = FileOutcome;
    const auto file = [](FileOutcome outcome, uint64_t refused) {
        FileStatistics statistics("qxes_audit_1.log", outcome);
        statistics.linesRefused = refused;
        return statistics;
    };
    const struct {
        std::vector<FileStatistics> files;
        RunStage failedIn;  // kStarting: the run did not fail
        std::string flags;  // i: interrupted, u: unexpected failure, m: directory missing
        int status;
    } cases[] = {
        {{file(F::kLoaded, 0), file(F::kSetAside, 0)}, RunStage::kStarting, "", 0},
        {{file(F::kSkipped, 0), file(F::kLoaded, 2)}, RunStage::kStarting, "", 65},
        {{file(F::kLoaded, 2), file(F::kPutBack, 0)}, RunStage::kStarting, "", 75},
        {{file(F::kLoaded, 0)}, RunStage::kStarting, "i", 75},
        {{file(F::kLoaded, 3), file(F::kStopped, 0)}, RunStage::kLoading, "", 75},
        {{file(F::kLoaded, 3), file(F::kStillWritten, 0)}, RunStage::kStarting, "", 75},
        {{file(F::kSkipped, 0), file(F::kWaiting, 0)}, RunStage::kStarting, "", 75},
        {{}, RunStage::kLoading, "m", 66},
        {{}, RunStage::kLoading, "u", 70},
        {{}, RunStage::kConnecting, "", 69},
        {{}, RunStage::kConnected, "", 69},
        {{}, RunStage::kReadingCommandLine, "u", 64},
    };
    for (const auto& c : cases) {
        RunOutcome outcome;
        outcome.statistics.files = c.files;
        outcome.statistics.interrupted = c.flags.find('i') != std::string::npos;
        outcome.failed = c.failedIn != RunStage::kStarting;
        outcome.stage = outcome.failed ? c.failedIn : RunStage::kLoading;
        outcome.unexpectedFailure = c.flags.find('u') != std::string::npos;
        outcome.auditDirectoryMissing = c.flags.find('m') != std::string::npos;
        EXPECT_EQ(ExitStatus::Of(outcome), c.status) << ExitStatus::Meaning(c.status);
    }
}

}  // namespace
