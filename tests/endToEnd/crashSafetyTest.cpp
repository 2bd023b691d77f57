// Exactly-once loading: runs killed with SIGKILL at random moments, stopped
// with SIGTERM, or cut off from PostgreSQL, then run again until every file
// is done, load exactly the rows of one uninterrupted run and refuse nothing
// it does not refuse; a file resumed from any line rebuilds what the lines
// before it left in memory; loaders running at the same time load each file once.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <random>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "../support/auditFiles.h"
#include "../support/messageCapture.h"
#include "afpOptions.h"
#include "auditDirectoryLock.h"
#include "parser.h"

namespace {

using namespace auditFiles;
namespace fs = std::filesystem;
using std::chrono::microseconds;
using Clock = std::chrono::steady_clock;

constexpr int kRowCount = 3;  // small, so that most kills land inside a batch
constexpr int kKillsWanted = 30;

// The refusals among a run's messages: what a crash must not add.
std::string Refusals(const std::string& output) {
    std::string refusals;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        refusals +=
            line.rfind("AFP-0026", 0) == 0 || line.rfind("AFP-0051", 0) == 0 ? line + "\n" : "";
    }
    return refusals;
}

// Runs the loader until nothing is pending, at most three times; `output`
// collects what the runs printed.
::testing::AssertionResult LoadToTheEnd(const TestDatabase& database, const std::string& directory,
                                        std::string& output) {
    for (int run = 0; run < 3 && !PendingFiles(directory).empty(); ++run) {
        const ProcessResult result = RunLoader(database, directory, kRowCount);
        output += result.out;
        if (result.exitStatus != 0 || Count(result.out, "AFP-0027") != 0) {
            return ::testing::AssertionFailure() << "status " << result.exitStatus << ":\n"
                                                 << result.out << result.err;
        }
    }
    return PendingFiles(directory).empty() ? ::testing::AssertionSuccess()
                                           : ::testing::AssertionFailure() << "files pending";
}

class CrashSafetyTest : public ::testing::TestWithParam<TestBackend> {
  protected:
    void SetUp() override {
        AFP_REQUIRE_DATABASE(m_reference);
        // Requests run on from file to file, so a crash between two files
        // finds usage still waiting for its counts line.
        ASSERT_EQ(Generate(m_scratch / "generated", 17, 4, 150, "K", true).exitStatus, 0);
        m_originals = NamesIn(m_scratch / "generated");
        ASSERT_FALSE(m_originals.empty());
        CopyWithTimes(m_scratch / "generated", m_scratch / "reference");
        const auto start = Clock::now();
        const ProcessResult reference = RunLoader(m_reference, m_scratch / "reference", kRowCount);
        m_loadAll = std::chrono::duration_cast<microseconds>(Clock::now() - start);
        ASSERT_EQ(reference.exitStatus, 0);
        ASSERT_EQ(WithoutSummary(reference.out), "");
        m_expected = DumpTables(m_reference);
    }

    ScratchDirectory m_scratch;
    TestDatabase m_reference{GetParam()};
    std::vector<std::string> m_originals;
    TableDump m_expected;
    microseconds m_loadAll{0};  // what a whole load takes: kill moments are drawn from it
};

TEST_P(CrashSafetyTest, KilledAndStoppedRunsLoadTheRowsAndMessagesOfOneRun) {
    // A killed run leaves each file under its own name, its claim name, or set aside.
    std::set<std::string> allowed;
    for (const std::string& name : m_originals) {
        allowed.insert({name, name + "_processing", name.substr(0, name.rfind('.')) + ".___"});
    }
    // AFP_CRASH_SEED replays the kill moments of a failed run.
    const char* given = std::getenv("AFP_CRASH_SEED");
    const unsigned seed = given != nullptr ? static_cast<unsigned>(std::strtoul(given, nullptr, 10))
                                           : std::random_device{}();
    SCOPED_TRACE("kill seed " + std::to_string(seed) + " (AFP_CRASH_SEED)");
    std::mt19937 random(seed);
    int kills = 0, stops = 0;
    int scale = 100;  // percent of the time the whole load needs
    // Each cycle interrupts runs over a fresh copy in a fresh database, then loads it to the end.
    for (int cycle = 0; cycle < 20 && kills < kKillsWanted; ++cycle) {
        TestDatabase database(GetParam());
        const std::string directory = m_scratch / ("crash" + std::to_string(cycle));
        CopyWithTimes(m_scratch / "generated", directory);
        std::string output;
        const int cycleKills = kills + kKillsWanted / 3;
        while (kills < cycleKills && !PendingFiles(directory).empty()) {
            std::uniform_int_distribution<long long> delay(0, m_loadAll.count() * scale / 100);
            ChildProcess loader(LoaderCommand(database, directory, kRowCount));
            std::this_thread::sleep_for(microseconds(delay(random)));
            // The first interruption of each cycle is a polite one, and every
            // one until a polite one has landed inside a load: a fast load
            // leaves it little time.
            const bool polite = stops == 0 || (output.empty() && kills % 2 == 0);
            loader.Signal(polite ? SIGTERM : SIGKILL);
            const int status = loader.Wait();
            output += loader.out();
            if (status == 0) {
                // It ended by itself, or stopped cleanly on SIGTERM.
                const bool stopped = Count(loader.out(), "AFP-0049") != 0;
                stops += stopped ? 1 : 0;
                scale = stopped ? scale : std::max(10, scale * 7 / 10);  // faster runs: aim earlier
                ASSERT_EQ(Count(loader.out(), "AFP-0027"), 0u) << loader.out();
                continue;
            }
            if (status == 128 + SIGTERM) {
                scale = std::min(150, scale * 21 / 20);  // aim later
                continue;  // stopped before it began: nothing was done
            }
            ASSERT_EQ(status, 128 + SIGKILL) << loader.output();
            ++kills;
            scale = std::min(150, scale * 21 / 20);
            for (const std::string& name : NamesIn(directory)) {
                ASSERT_EQ(allowed.count(name), 1u) << name << " after kill " << kills;
            }
            // A kill between the two renames of the claim is rare: stage it.
            const std::vector<std::string> pending = PendingFiles(directory);
            if (kills % 5 == 2 && !pending.empty() &&
                pending.front().find("_processing") == std::string::npos) {
                const std::string name = directory + "/" + pending.front();
                ASSERT_EQ(std::rename(name.c_str(), (name + "_processing").c_str()), 0);
            }
        }
        ASSERT_TRUE(LoadToTheEnd(database, directory, output));
        EXPECT_EQ(m_expected, DumpTables(database)) << "cycle " << cycle;
        // A kill after a file's last commit and before its rename leaves it to
        // be taken again: it is set aside without being read.
        const std::string name = directory + "/" + m_originals[cycle % m_originals.size()];
        const std::string done = name.substr(0, name.rfind('.')) + ".___";
        ASSERT_EQ(std::rename(done.c_str(), name.c_str()), 0);
        ASSERT_TRUE(LoadToTheEnd(database, directory, output));
        EXPECT_EQ(m_expected, DumpTables(database)) << "loaded again: " << name;
        EXPECT_EQ(Refusals(output), "") << "cycle " << cycle;
    }
    EXPECT_GE(kills, kKillsWanted);
    EXPECT_GT(stops, 0) << "no SIGTERM landed inside a load";
}

// The server is cut off from the loader mid-run: the loader connects again,
// resumes the file after its last commit, and loads every row once.
TEST_P(CrashSafetyTest, LostConnectionIsTriedAgainAndTheFileResumes) {
    if (GetParam() != TestBackend::kPostgreSQL) {
        GTEST_SKIP() << "only a server connection can be lost";
    }
    int reconnected = 0;
    for (int attempt = 0; attempt < 5 && reconnected == 0; ++attempt) {
        TestDatabase database(GetParam());
        const std::string directory = m_scratch / ("lost" + std::to_string(attempt));
        CopyWithTimes(m_scratch / "generated", directory);
        ChildProcess loader(LoaderCommand(database, directory, kRowCount));
        // Cut once loading is under way: its first batch is committed.
        const auto giveUp = Clock::now() + std::chrono::seconds(30);
        while (database.countRows("QXES_LOAD_PROGRESS") == 0 && Clock::now() < giveUp) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        database.exec(
            "SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE datname = "
            "current_database() AND pid <> pg_backend_pid()");
        ASSERT_EQ(loader.Wait(), 0) << loader.output();
        const std::string output = loader.out();
        reconnected = static_cast<int>(Count(output, "AFP-0057"));
        EXPECT_EQ(Count(output, "AFP-0027"), 0u) << output;
        EXPECT_EQ(Refusals(output), "") << output;
        EXPECT_TRUE(PendingFiles(directory).empty()) << output;
        EXPECT_EQ(m_expected, DumpTables(database)) << output;
    }
    EXPECT_GT(reconnected, 0) << "the connection was never cut while loading";
}

AFP_ON_BOTH_BACKENDS(CrashSafetyTest);

// In process, so that every resume point is cheap to try. The lines before
// the resume point are read with writing off: usage codes and names waiting
// there for a counts line after it must be found again.
class ResumeSweep : public ::testing::Test {
  protected:
    void Load(TestDatabase& database, const std::string& directory) {
        AFPOptions options;
        options.auditLocation = directory;
        options.transactionRowCount = kRowCount;
        Parser parser(options, &database.db(), "/");
        parser.ParseDir();
    }
    MessageCapture m_messages;
};

TEST_F(ResumeSweep, ResumingAtAnyLineLoadsTheRowsOfAnUninterruptedRun) {
    // Usage lines of two requests interleaved, so that codes, names and
    // counts of a request straddle every batch boundary.
    std::vector<std::string> lines = {Startup("sweep")};
    for (const std::string request : {"1", "2", "3"}) {
        const std::string next = std::to_string(std::stoi(request) + 10);
        lines.push_back(Usage("QXUC", "D1,M;L1;MC1", "s" + request, request));
        lines.push_back(Usage("QXUC", "D2,M;L2;MC2", "s" + next, next));
        lines.push_back(Usage("QXUH", "Dim1,Measures;Lev1;Meas1", "s" + request, request));
        lines.push_back(Usage("QXUH", "Dim2,Measures;Lev2;Meas2", "s" + next, next));
        lines.push_back(Startup("between" + request));
        lines.push_back(Usage("QXUD", "5,8;2;4", "s" + request, request));
        lines.push_back(Usage("QXUD", "6,9;3;5", "s" + next, next));
    }
    const std::string content = AuditFile(lines);
    ScratchDirectory scratch;
    TestDatabase reference;
    AFP_REQUIRE_DATABASE(reference);
    WriteFile(scratch / "qxes_audit_s.log", content);
    Load(reference, scratch.path());
    const TableDump expected = DumpTables(reference);
    ASSERT_EQ(expected.at("QXES_DIM_USAGE").size(), 6u);

    // Line numbers: the version line is 1 (nothing is skipped), the general
    // line 2, then `lines`.
    const size_t lastLine = lines.size() + 2;
    for (size_t resume = 1; resume <= lastLine; ++resume) {
        SCOPED_TRACE("resume at line " + std::to_string(resume));
        TestDatabase database;
        ScratchDirectory dir;
        // What a stopped run committed: the lines before the resume point...
        size_t cut = 0;
        for (size_t line = 0; line < resume; ++line) {
            cut = content.find('\n', cut) + 1;  // the header, then lines 1 .. resume - 1
        }
        WriteFile(dir / "qxes_audit_s.log", content.substr(0, cut));
        Load(database, dir.path());
        // ... without the bookkeeping, so that only a reading of those lines
        // can bring back what they left waiting.
        database.exec("DELETE FROM QXES_LOAD_PROGRESS");
        database.exec("DELETE FROM QXES_USAGE_PENDING");
        WriteFile(dir / ("qxes_audit_s." + std::to_string(resume) + ".log"), content);
        Load(database, dir.path());
        EXPECT_EQ(expected, DumpTables(database));
    }
    EXPECT_EQ(Count(m_messages.Text(), "AFP-0026"), 0u) << m_messages.Text();
}

// The usage of a request whose lines lie in two files is kept in the
// database between runs: two runs, as after a crash between the files, lose
// nothing.
TEST(RequestSpanningTwoFiles, KeepsItsUsageRowsWhenTheFilesGoToTwoRuns) {
    ScratchDirectory scratch;
    ASSERT_EQ(Generate(scratch / "generated", 23, 2, 200, "S", true).exitStatus, 0);
    const std::vector<std::string> files = NamesIn(scratch / "generated");  // chronological
    ASSERT_EQ(files.size(), 2u);
    TestDatabase oneRun;
    AFP_REQUIRE_DATABASE(oneRun);
    CopyWithTimes(scratch / "generated", scratch / "whole");
    ASSERT_EQ(RunLoader(oneRun, scratch / "whole", kRowCount).exitStatus, 0);

    TestDatabase twoRuns;
    fs::create_directories(scratch / "split");
    std::string output;
    for (const std::string& name : files) {
        CopyWithTimes(scratch / "generated/" + name, scratch / "split/" + name);
        const ProcessResult result = RunLoader(twoRuns, scratch / "split", kRowCount);
        ASSERT_EQ(result.exitStatus, 0);
        output += WithoutSummary(result.out);
    }
    EXPECT_EQ(output, "");
    EXPECT_EQ(DumpTables(oneRun), DumpTables(twoRuns));
}

// A file put back while its writer still appends to it, resumed from its
// recorded progress: the lines read again before the resume point leave the
// waiting usage as it was committed (a counts line refused there before its
// codes and names came must not take them now), so the counts line written
// after the put-back loads its rows, as in one run over the finished file.
class PutBackFileTest : public ::testing::TestWithParam<TestBackend> {};

TEST_P(PutBackFileTest, ResumesWithTheWaitingUsageItCommitted) {
    TestDatabase resumed(GetParam()), whole(GetParam());
    AFP_REQUIRE_DATABASE(resumed);
    const std::string counts = Usage("QXUD", "1,2;3;4", "s1", "1");
    const std::string cutLine = Record(Info("QXES", "LOGIN", "s2", "2", "x"));
    const std::string before =
        AuditFile({Startup("putback"), Usage("QXUC", "D1,M;L1;MC1", "s1", "1"), counts,
                   Usage("QXUH", "N1,NM;NL1;NMC1", "s1", "1")});
    ScratchDirectory scratch;
    fs::create_directories(scratch / "audit");
    const std::string file = scratch / "audit/qxes_audit_p.log";
    WriteFile(file, before + cutLine.substr(0, 20));
    fs::last_write_time(file, fs::file_time_type::clock::now());  // still in writing
    const ProcessResult first = RunLoader(resumed, scratch / "audit", kRowCount);
    ASSERT_NE(Count(first.out, "AFP-0050"), 0u) << first.out;

    WriteFile(file, before + cutLine + counts);
    fs::create_directories(scratch / "whole");
    WriteFile(scratch / "whole/qxes_audit_p.log", before + cutLine + counts);
    const ProcessResult second = RunLoader(resumed, scratch / "audit", kRowCount);
    EXPECT_EQ(WithoutSummary(second.out), "");
    ASSERT_EQ(RunLoader(whole, scratch / "whole", kRowCount).exitStatus, 0);
    EXPECT_EQ(DumpTables(resumed), DumpTables(whole));
}

AFP_ON_BOTH_BACKENDS(PutBackFileTest);

// Loaders running at the same time: several servers' directories into one
// database, one loader per directory at a time. The tables must equal those of
// the same loads run one after the other. A deadlocked loader is caught by the
// test's time limit.
class ConcurrentLoadersTest : public ::testing::TestWithParam<TestBackend> {
  protected:
    void SetUp() override { AFP_REQUIRE_DATABASE(m_together); }

    ScratchDirectory m_scratch;
    TestDatabase m_together{GetParam()};
    TestDatabase m_oneAfterAnother{GetParam()};
};

// Three servers' directories, and a fourth whose requests run on from file to
// file, with two loaders started while the test holds it: both wait, then one
// loads it whole and the other, after waiting for that one, finds nothing left.
TEST_P(ConcurrentLoadersTest, LoadersOfSeveralDirectoriesShareTheDatabaseOnePerDirectory) {
    std::vector<std::string> directories;
    for (const char* prefix : {"SA", "SB", "SC"}) {
        directories.push_back(m_scratch / prefix);
        // Each seed also gives a distinct machine name and port.
        const unsigned seed = 31 + static_cast<unsigned>(directories.size());
        ASSERT_EQ(Generate(directories.back(), seed, 3, 120, prefix).exitStatus, 0);
    }
    const std::string shared = m_scratch / "audit";
    ASSERT_EQ(Generate(shared, 41, 8, 60, "SD", true).exitStatus, 0);
    // The reference: a copy of each directory, loaded one after the other.
    for (const std::string& directory : {directories[0], directories[1], directories[2], shared}) {
        CopyWithTimes(directory, directory + ".sequential");
        const ProcessResult result =
            RunLoader(m_oneAfterAnother, directory + ".sequential", kRowCount);
        ASSERT_EQ(result.exitStatus, 0);
        ASSERT_EQ(WithoutSummary(result.out), "");
    }
    AuditDirectoryLock held;
    std::string reason;
    ASSERT_EQ(held.TryTake(shared, reason), AuditDirectoryLock::Outcome::kHeld) << reason;
    directories.insert(directories.end(), {shared, shared});
    std::vector<std::unique_ptr<ChildProcess>> loaders;
    for (const std::string& directory : directories) {
        loaders.push_back(
            std::make_unique<ChildProcess>(LoaderCommand(m_together, directory, kRowCount)));
    }
    for (const auto giveUp = Clock::now() + std::chrono::seconds(30);
         Count(loaders[3]->out() + loaders[4]->out(), "AFP-0072") < 2 && Clock::now() < giveUp;) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    held.Release();
    std::string shares;
    for (size_t index = 0; index < loaders.size(); ++index) {
        EXPECT_EQ(loaders[index]->Wait(), 0);
        const std::string output = loaders[index]->output();
        shares += index >= 3 ? output : "";
        // Refused lines would be listed here.
        EXPECT_EQ(std::regex_replace(WithoutSummary(output), std::regex("AFP-0072.*\\n"), ""), "");
    }
    EXPECT_EQ(Count(shares, "AFP-0072"), 2u) << shares;
    EXPECT_EQ(Count(shares, ": 0 audit files loaded"), 1u) << shares;
    for (const std::string& directory : directories) {
        EXPECT_EQ(PendingFiles(directory), std::vector<std::string>()) << directory;
    }
    EXPECT_EQ(DumpTables(m_oneAfterAnother), DumpTables(m_together));
}

// One that waits longer than -lockwait leaves the directory as it is: not even
// a file left under its claim name is put back.
TEST_P(ConcurrentLoadersTest, ALoaderThatWaitsTooLongLeavesTheDirectoryAsItIs) {
    const std::string directory = m_scratch / "held";
    ASSERT_EQ(Generate(directory, 43, 2, 60).exitStatus, 0);
    const std::string first = directory + "/" + NamesIn(directory).front();
    ASSERT_EQ(std::rename(first.c_str(), (first + "_processing").c_str()), 0);
    const std::vector<std::string> before = NamesIn(directory);
    AuditDirectoryLock held;
    std::string reason;
    ASSERT_EQ(held.TryTake(directory, reason), AuditDirectoryLock::Outcome::kHeld) << reason;
    const ProcessResult run = RunProcess(LoaderCommand(
        m_together, directory, kRowCount, {{"-lockwait", "1"}, {"-exitstatus", "detailed"}}));
    EXPECT_EQ(run.exitStatus, 75);
    EXPECT_NE(run.out.find("AFP-0073: Another loader was still loading the audit directory " +
                           directory + " after 1 seconds"),
              std::string::npos)
        << run.out;
    EXPECT_EQ(NamesIn(directory), before);
    EXPECT_EQ(m_together.countRows("QXES_SESSION") + m_together.countRows("QXES_LOAD_PROGRESS"), 0);
}

AFP_ON_BOTH_BACKENDS(ConcurrentLoadersTest);

}  // namespace
