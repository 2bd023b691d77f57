// Crash safety of the loader: runs killed with SIGKILL at random moments, then
// run again until every file is done, load exactly the rows of one
// uninterrupted run; and what a crash costs a request whose usage lines span
// two files.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "../support/auditFiles.h"
#include "../support/messageCapture.h"
#include "afpOptions.h"
#include "parser.h"

namespace {

using namespace auditFiles;
namespace fs = std::filesystem;

constexpr int kRowCount = 3;  // small, so that most kills land inside a batch
constexpr int kKillsWanted = 20;

// Runs the loader until nothing is pending, at most three times.
::testing::AssertionResult LoadToTheEnd(const TestDatabase& database,
                                        const std::string& directory) {
    for (int run = 0; run < 3 && !PendingFiles(directory).empty(); ++run) {
        const ProcessResult result = RunLoader(database, directory, kRowCount);
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
        ASSERT_EQ(Generate(m_scratch / "generated", 17, 4, 150, "K").exitStatus, 0);
        m_originals = NamesIn(m_scratch / "generated");
        ASSERT_FALSE(m_originals.empty());
    }

    ScratchDirectory m_scratch;
    TestDatabase m_reference{GetParam()};
    std::vector<std::string> m_originals;
};

TEST_P(CrashSafetyTest, RunsKilledAtRandomMomentsThenResumedLoadTheRowsOfOneRun) {
    using std::chrono::microseconds;
    using Clock = std::chrono::steady_clock;
    // Kill moments are drawn from the time a run needs to start, and to load
    // everything, so that they are spread over the whole load.
    ScratchDirectory empty;
    auto start = Clock::now();
    ASSERT_EQ(RunLoader(m_reference, empty.path(), kRowCount).exitStatus, 0);
    const auto startUp = std::chrono::duration_cast<microseconds>(Clock::now() - start);
    fs::copy(m_scratch / "generated", m_scratch / "reference");
    start = Clock::now();
    const ProcessResult reference = RunLoader(m_reference, m_scratch / "reference", kRowCount);
    const auto loadAll = std::chrono::duration_cast<microseconds>(Clock::now() - start);
    ASSERT_EQ(reference.exitStatus, 0);
    ASSERT_EQ(WithoutSummary(reference.out), "");
    ASSERT_TRUE(PendingFiles(m_scratch / "reference").empty());
    const TableDump expected = DumpTables(m_reference);

    // A killed run leaves each file under its own name, its claim name, or set aside.
    std::set<std::string> allowed;
    for (const std::string& name : m_originals) {
        allowed.insert({name, name + "_processing", name.substr(0, name.rfind('.')) + ".___"});
    }
    const unsigned seed = std::random_device{}();
    SCOPED_TRACE("kill seed " + std::to_string(seed));
    std::mt19937 random(seed);
    int kills = 0;
    int claimsLeft = 0;
    int scale = 100;  // percent of the time the pending files need
    // Each cycle kills runs over a fresh copy in a fresh database, then loads it to the end.
    for (int cycle = 0; cycle < 20 && kills < kKillsWanted; ++cycle) {
        TestDatabase database(GetParam());
        const std::string directory = m_scratch / ("crash" + std::to_string(cycle));
        fs::copy(m_scratch / "generated", directory);
        const int cycleKills = kills + kKillsWanted / 2;
        for (size_t pending = m_originals.size(); kills < cycleKills && pending > 0;
             pending = PendingFiles(directory).size()) {
            const auto needed = startUp + (loadAll - startUp) * static_cast<long long>(pending) /
                                              static_cast<long long>(m_originals.size());
            std::uniform_int_distribution<long long> delay(0, needed.count() * scale / 100);
            ChildProcess loader(LoaderCommand(database, directory, kRowCount));
            ASSERT_TRUE(loader.started());
            if (!loader.KillAfter(microseconds(delay(random)))) {
                scale = std::max(10, scale * 7 / 10);  // runs got faster: aim earlier
                ASSERT_EQ(loader.Wait(), 0) << loader.output();
                ASSERT_EQ(Count(loader.output(), "AFP-0027"), 0u) << loader.output();
                continue;
            }
            ++kills;
            scale = std::min(150, scale * 21 / 20);
            const std::vector<std::string> left = NamesIn(directory);
            ASSERT_EQ(left.size(), m_originals.size()) << "after kill " << kills;
            for (const std::string& name : left) {
                ASSERT_EQ(allowed.count(name), 1u) << name << " after kill " << kills;
            }
            // A kill between the two renames of the claim is rare: stage it.
            const std::vector<std::string> pendingNames = PendingFiles(directory);
            if (kills % 5 == 2 && !pendingNames.empty() &&
                pendingNames.front().find("_processing") == std::string::npos) {
                const std::string name = directory + "/" + pendingNames.front();
                ASSERT_EQ(std::rename(name.c_str(), (name + "_processing").c_str()), 0);
                ++claimsLeft;
            }
        }
        ASSERT_TRUE(LoadToTheEnd(database, directory));
        EXPECT_EQ(expected, DumpTables(database)) << "cycle " << cycle;
        // A kill after a file's last commit and before its rename leaves the
        // whole file to be loaded again; that must change nothing.
        const std::string name = directory + "/" + m_originals[cycle % m_originals.size()];
        const std::string done = name.substr(0, name.rfind('.')) + ".___";
        ASSERT_EQ(std::rename(done.c_str(), name.c_str()), 0);
        ASSERT_TRUE(LoadToTheEnd(database, directory));
        EXPECT_EQ(expected, DumpTables(database)) << "loaded again: " << name;
    }
    EXPECT_GE(kills, kKillsWanted);
    EXPECT_GT(claimsLeft, 0);
}

AFP_ON_BOTH_BACKENDS(CrashSafetyTest);

// The codes and names of a request's usage wait in memory for its counts line,
// so a request whose usage lines span two files keeps its usage rows only when
// one run loads both files in order. Two runs, as after a crash between the
// files, lose those rows and nothing else.
TEST(RequestSpanningTwoFiles, LosesOnlyItsUsageRowsWhenTheFilesGoToTwoRuns) {
    ScratchDirectory scratch;
    ASSERT_EQ(Generate(scratch / "generated", 23, 2, 200, "S", true).exitStatus, 0);
    const std::vector<std::string> files = NamesIn(scratch / "generated");  // chronological
    ASSERT_EQ(files.size(), 2u);

    // One run, both files in order. (In process there is no processing
    // locale, so only the usage tables, which hold no user names, compare.)
    TestDatabase oneRun;
    AFP_REQUIRE_DATABASE(oneRun);
    {
        MessageCapture messages;
        AFPOptions options;
        options.auditLocation = scratch / "generated";
        options.transactionRowCount = kRowCount;
        Parser parser(options, &oneRun.db(), "/");
        for (const std::string& name : files) {
            parser.Parse(scratch / "generated/" + name);
        }
        EXPECT_EQ(messages.Text(), "");
    }
    const TableDump whole = DumpTables(oneRun);

    TestDatabase twoRuns;
    fs::create_directories(scratch / "split");
    std::string output;
    for (const std::string& name : files) {
        fs::copy(scratch / "generated/" + name, scratch / "split/" + name);
        const ProcessResult result = RunLoader(twoRuns, scratch / "split", kRowCount);
        ASSERT_EQ(result.exitStatus, 0);
        output += result.out;
    }
    const TableDump split = DumpTables(twoRuns);

    // Each lost counts line is reported, and only the usage rows of those
    // requests are missing.
    const size_t lost = Count(output, "AFP-0026");
    EXPECT_GT(lost, 0u) << "no request spans the two files";
    std::set<std::string> lostRequests;
    for (const char* table : {"QXES_DIM_USAGE", "QXES_MEASURE_USAGE", "QXES_LEVEL_USAGE"}) {
        std::vector<std::string> missing;
        std::set_difference(whole.at(table).begin(), whole.at(table).end(), split.at(table).begin(),
                            split.at(table).end(), std::back_inserter(missing));
        EXPECT_EQ(split.at(table).size() + missing.size(), whole.at(table).size()) << table;
        for (const std::string& row : missing) {
            // Usage rows begin with the session and request identifiers.
            lostRequests.insert(row.substr(0, row.find(" | ", row.find(" | ") + 3)));
        }
    }
    EXPECT_EQ(lostRequests.size(), lost) << output;
}

}  // namespace
