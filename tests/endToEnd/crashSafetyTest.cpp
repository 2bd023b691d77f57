// Crash safety of the loader: runs killed with SIGKILL at random moments and
// then run again until every file is done load exactly the rows of one
// uninterrupted run, and what a crash costs a request whose usage lines span
// two files.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "../support/messageCapture.h"
#include "afpOptions.h"
#include "auditRun.h"
#include "parser.h"
#include "testDatabase.h"

namespace {

using namespace endToEnd;

constexpr int kRowCount = 3;  // small, so that most kills land inside a batch
constexpr int kKillsWanted = 20;
constexpr int kKillsPerCycle = 10;

Generation CrashGeneration() {
    Generation generation;
    generation.seed = 17;
    generation.files = 4;
    generation.lines = 150;
    generation.sessions = 6;
    generation.prefix = "K";
    return generation;
}

// A killed run leaves each file under its own name, set aside as done, or,
// when it died inside its rename-and-back claim, under the claim name.
std::string UnexpectedNames(const std::vector<std::string>& originals,
                            const std::string& directory) {
    std::set<std::string> expected;
    for (const std::string& name : originals) {
        expected.insert(name);
        expected.insert(name + "_processing");
        expected.insert(name.substr(0, name.rfind('.')) + ".___");
    }
    std::string unexpected;
    const std::vector<std::string> names = NamesIn(directory);
    for (const std::string& name : names) {
        if (expected.count(name) == 0) {
            unexpected += name + " ";
        }
    }
    if (names.size() != originals.size()) {
        unexpected += "(" + std::to_string(names.size()) + " files for " +
                      std::to_string(originals.size()) + ")";
    }
    return unexpected;
}

// Runs the loader until nothing is pending; false when a run fails or
// `runs` runs do not finish the directory.
::testing::AssertionResult LoadToTheEnd(const TestDatabase& database, const std::string& directory,
                                        int runs = 3) {
    for (int run = 0; run < runs && !PendingFiles(directory).empty(); ++run) {
        const ProcessResult result = RunLoader(database, directory, kRowCount);
        if (result.exitStatus != 0 || Count(result.out, "AFP-0027") != 0) {
            return ::testing::AssertionFailure()
                   << "run ended with status " << result.exitStatus << ":\n"
                   << result.out << result.err;
        }
    }
    if (!PendingFiles(directory).empty()) {
        return ::testing::AssertionFailure() << "files still pending after " << runs << " runs";
    }
    return ::testing::AssertionSuccess();
}

class CrashSafetyTest : public ::testing::TestWithParam<TestBackend> {
  protected:
    void SetUp() override {
        AFP_REQUIRE_DATABASE(m_reference);
        const ProcessResult generated = Generate(m_scratch / "generated", CrashGeneration());
        ASSERT_EQ(generated.exitStatus, 0) << generated.err;
        m_originals = NamesIn(m_scratch / "generated");
        ASSERT_FALSE(m_originals.empty());
    }

    ScratchDirectory m_scratch;
    TestDatabase m_reference{GetParam()};
    std::vector<std::string> m_originals;
};

TEST_P(CrashSafetyTest, RunsKilledAtRandomMomentsThenResumedLoadTheRowsOfOneRun) {
    using std::chrono::microseconds;
    // How long a run takes to start and connect, and to load everything; the
    // kill moments are drawn from these, so they are spread over the load.
    ScratchDirectory empty;
    auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(RunLoader(m_reference, empty.path(), kRowCount).exitStatus, 0);
    const auto startUp =
        std::chrono::duration_cast<microseconds>(std::chrono::steady_clock::now() - start);
    CopyDirectory(m_scratch / "generated", m_scratch / "reference");
    start = std::chrono::steady_clock::now();
    const ProcessResult reference = RunLoader(m_reference, m_scratch / "reference", kRowCount);
    const auto loadAll =
        std::chrono::duration_cast<microseconds>(std::chrono::steady_clock::now() - start);
    ASSERT_EQ(reference.exitStatus, 0);
    ASSERT_EQ(reference.out, "");
    ASSERT_TRUE(PendingFiles(m_scratch / "reference").empty());
    const TableDump expected = DumpTables(m_reference);

    // The kill moments are random; the seed is shown to replay a failure.
    const unsigned seed = std::random_device{}();
    SCOPED_TRACE("kill seed " + std::to_string(seed));
    std::mt19937 random(seed);
    int kills = 0;
    int killsInsideClaim = 0;
    int scale = 100;  // percent of the time the pending files need
    // Each cycle loads a fresh copy into a fresh database, killing runs until
    // enough kills or until the copy is done, then loads it to the end.
    for (int cycle = 0; cycle < 20 && kills < kKillsWanted; ++cycle) {
        TestDatabase database(GetParam());
        const std::string directory = m_scratch / ("crash" + std::to_string(cycle));
        CopyDirectory(m_scratch / "generated", directory);
        const int cycleKills = kills + kKillsPerCycle;
        for (size_t pending = m_originals.size(); kills < cycleKills && pending > 0;
             pending = PendingFiles(directory).size()) {
            // A killed run loads its file again from the start: a moment within
            // the time that the pending files need.
            const auto needed = startUp + (loadAll - startUp) * static_cast<long long>(pending) /
                                              static_cast<long long>(m_originals.size());
            std::uniform_int_distribution<long long> delay(0, needed.count() * scale / 100);
            LoaderProcess loader(LoaderCommand(database, directory, kRowCount));
            ASSERT_TRUE(loader.started());
            if (!loader.KillAfter(microseconds(delay(random)))) {
                // Runs go faster than the first one did: aim earlier.
                scale = std::max(10, scale * 7 / 10);
                ASSERT_EQ(loader.exitStatus(), 0) << loader.output();
                ASSERT_EQ(Count(loader.output(), "AFP-0027"), 0u) << loader.output();
                continue;
            }
            ++kills;
            scale = std::min(150, scale * 21 / 20);
            ASSERT_EQ(UnexpectedNames(m_originals, directory), "") << "after kill " << kills;
            // A kill between the two renames of the claim leaves the file under
            // its claim name, which no other moment does: make it happen.
            const std::vector<std::string> left = PendingFiles(directory);
            if (kills % 5 == 2 && !left.empty() && !EndsWith(left.front(), "_processing")) {
                const std::string name = directory + "/" + left.front();
                ASSERT_EQ(std::rename(name.c_str(), (name + "_processing").c_str()), 0);
                ++killsInsideClaim;
            }
        }
        ASSERT_TRUE(LoadToTheEnd(database, directory));
        EXPECT_EQ(TableDifferences(expected, DumpTables(database)), "") << "cycle " << cycle;
    }
    EXPECT_GE(kills, kKillsWanted);
    EXPECT_GT(killsInsideClaim, 0);
}

// A kill after a file's last commit and before its rename leaves the whole
// file to be loaded again; that second load must change nothing.
TEST_P(CrashSafetyTest, FileLoadedAgainAfterItsLastCommitChangesNoRow) {
    const std::string directory = m_scratch / "generated";
    ASSERT_TRUE(LoadToTheEnd(m_reference, directory));
    const TableDump once = DumpTables(m_reference);
    for (const std::string& name : m_originals) {
        const std::string done = directory + "/" + name.substr(0, name.rfind('.')) + ".___";
        ASSERT_EQ(std::rename(done.c_str(), (directory + "/" + name).c_str()), 0);
        ASSERT_TRUE(LoadToTheEnd(m_reference, directory));
        EXPECT_EQ(TableDifferences(once, DumpTables(m_reference)), "") << name;
    }
}

INSTANTIATE_TEST_SUITE_P(Backends, CrashSafetyTest,
                         ::testing::Values(TestBackend::kSQLite, TestBackend::kPostgreSQL),
                         TestBackendName());

// The codes and names of a request's usage wait in memory for its counts line,
// so a request whose usage lines span two files keeps its usage rows only when
// one run loads both files in order. Two runs, as after a crash between the
// files, lose those rows and nothing else.
TEST(RequestSpanningTwoFiles, LosesOnlyItsUsageRowsWhenTheFilesGoToTwoRuns) {
    ScratchDirectory scratch;
    Generation generation;
    generation.seed = 23;
    generation.files = 2;
    generation.lines = 200;
    generation.splitUsage = true;
    ASSERT_EQ(Generate(scratch / "generated", generation).exitStatus, 0);
    const std::vector<std::string> files = NamesIn(scratch / "generated");  // chronological
    ASSERT_EQ(files.size(), 2u);

    // The requests whose codes line is in the first file and counts line in the second.
    auto usageKeys = [&](const std::string& name, const std::string& format) {
        std::set<std::string> keys;
        std::istringstream lines(ReadFile(scratch / "generated/" + name));
        for (std::string line; std::getline(lines, line);) {
            std::vector<std::string> fields;
            std::istringstream split(line);
            for (std::string field; std::getline(split, field, '\t');) {
                if (!field.empty()) {
                    fields.push_back(field);
                }
            }
            if (fields.size() > 7 && fields[0] == "U" && fields[7] == format) {
                keys.insert(fields[4] + " | " + fields[5]);
            }
        }
        return keys;
    };
    std::set<std::string> spanning;
    const std::set<std::string> countsLater = usageKeys(files[1], "QXUD");
    for (const std::string& key : usageKeys(files[0], "QXUC")) {
        if (usageKeys(files[0], "QXUD").count(key) == 0 && countsLater.count(key) != 0) {
            spanning.insert(key);
        }
    }
    ASSERT_FALSE(spanning.empty()) << "the generator wrote no request across the two files";

    // One run, both files in order.
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

    // Two runs, one file each.
    TestDatabase twoRuns;
    AFP_REQUIRE_DATABASE(twoRuns);
    std::filesystem::create_directories(scratch / "split");
    std::string output;
    for (const std::string& name : files) {
        std::filesystem::copy(scratch / "generated/" + name, scratch / "split/" + name);
        const ProcessResult result = RunLoader(twoRuns, scratch / "split", kRowCount);
        ASSERT_EQ(result.exitStatus, 0);
        output += result.out;
    }
    const TableDump split = DumpTables(twoRuns);

    // Each lost counts line is reported; only the usage rows of those requests
    // are missing. (The in-process run has no processing locale, so only the
    // usage tables, which hold no user names, are compared.)
    EXPECT_EQ(Count(output, "AFP-0026"), spanning.size()) << output;
    std::set<std::string> usedInOneRun;
    for (const char* table : {"QXES_DIM_USAGE", "QXES_MEASURE_USAGE", "QXES_LEVEL_USAGE"}) {
        std::vector<std::string> kept;
        for (const std::string& row : whole.at(table)) {
            // Usage rows begin with the session and request identifiers.
            const std::string key = row.substr(0, row.find(" | ", row.find(" | ") + 3));
            if (spanning.count(key) != 0) {
                usedInOneRun.insert(key);
            } else {
                kept.push_back(row);
            }
        }
        EXPECT_EQ(split.at(table), kept) << table;
    }
    EXPECT_EQ(usedInOneRun, spanning);
}

}  // namespace
