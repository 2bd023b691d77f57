// Loaders running at the same time: four servers' directories into one
// database, and two loaders started together on one directory. None may hang,
// none may load a file another one holds (which would show as refused
// duplicate rows), and the tables must equal those of the same loads run one
// after the other.
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "auditRun.h"
#include "testDatabase.h"

namespace {

using namespace endToEnd;

constexpr int kRowCount = 4;
// Far beyond any real load here: a loader still running then is deadlocked.
constexpr std::chrono::seconds kHangLimit{120};

// Starts one loader per directory at the same moment and waits for all.
// Empty when every loader ended by itself, with status 0 and not a message.
std::string RunTogether(const TestDatabase& database, const std::vector<std::string>& directories) {
    std::vector<std::unique_ptr<LoaderProcess>> loaders;
    for (const std::string& directory : directories) {
        loaders.push_back(
            std::make_unique<LoaderProcess>(LoaderCommand(database, directory, kRowCount)));
    }
    std::string problems;
    for (size_t i = 0; i < loaders.size(); ++i) {
        LoaderProcess& loader = *loaders[i];
        loader.WaitAtMost(kHangLimit);
        const std::string output = loader.output();
        if (loader.hung() || loader.exitStatus() != 0 || !output.empty()) {
            problems += "loader " + std::to_string(i) + (loader.hung() ? " hung" : "") +
                        ", status " + std::to_string(loader.exitStatus()) + ", " +
                        std::to_string(Count(output, "AFP-0026")) + " refused lines:\n" + output;
        }
    }
    return problems;
}

// Loads each directory's copy with one run after the other.
::testing::AssertionResult LoadOneAfterAnother(const TestDatabase& database,
                                               const std::vector<std::string>& directories) {
    for (const std::string& directory : directories) {
        const std::string copy = directory + ".sequential";
        CopyDirectory(directory, copy);
        const ProcessResult result = RunLoader(database, copy, kRowCount);
        if (result.exitStatus != 0 || !result.out.empty() || !PendingFiles(copy).empty()) {
            return ::testing::AssertionFailure()
                   << "sequential load of " << directory << " failed:\n"
                   << result.out;
        }
    }
    return ::testing::AssertionSuccess();
}

// Two loaders started together on one directory of one server, whose
// sessions run on from file to file.
void LoadOneDirectoryTwiceAtOnce(TestBackend backend) {
    TestDatabase together(backend);
    TestDatabase oneAfterAnother(backend);
    AFP_REQUIRE_DATABASE(together);
    ScratchDirectory scratch;
    Generation generation;
    generation.seed = 41;
    generation.files = 8;
    generation.lines = 60;
    const std::string directory = scratch / "audit";
    ASSERT_EQ(Generate(directory, generation).exitStatus, 0);
    ASSERT_TRUE(LoadOneAfterAnother(oneAfterAnother, {directory}));

    EXPECT_EQ(RunTogether(together, {directory, directory}), "");
    EXPECT_EQ(PendingFiles(directory), std::vector<std::string>());
    EXPECT_EQ(TableDifferences(DumpTables(oneAfterAnother), DumpTables(together)), "");
}

class ConcurrentLoadersTest : public ::testing::TestWithParam<TestBackend> {
  protected:
    void SetUp() override { AFP_REQUIRE_DATABASE(m_together); }

    ScratchDirectory m_scratch;
    TestDatabase m_together{GetParam()};
    TestDatabase m_oneAfterAnother{GetParam()};
};

TEST_P(ConcurrentLoadersTest, FourServersLoadIntoOneDatabaseAtTheSameTime) {
    std::vector<std::string> directories;
    const char* const prefixes[] = {"SA", "SB", "SC", "SD"};
    for (unsigned server = 0; server < 4; ++server) {
        Generation generation;
        generation.seed = 31 + server;  // also a distinct machine name and port
        generation.files = 3;
        generation.lines = 120;
        generation.prefix = prefixes[server];
        directories.push_back(m_scratch / prefixes[server]);
        ASSERT_EQ(Generate(directories.back(), generation).exitStatus, 0);
    }
    ASSERT_TRUE(LoadOneAfterAnother(m_oneAfterAnother, directories));

    EXPECT_EQ(RunTogether(m_together, directories), "");
    for (const std::string& directory : directories) {
        EXPECT_EQ(PendingFiles(directory), std::vector<std::string>()) << directory;
    }
    EXPECT_EQ(TableDifferences(DumpTables(m_oneAfterAnother), DumpTables(m_together)), "");
}

INSTANTIATE_TEST_SUITE_P(Backends, ConcurrentLoadersTest,
                         ::testing::Values(TestBackend::kSQLite, TestBackend::kPostgreSQL),
                         TestBackendName());

TEST(TwoLoadersOnOneDirectory, ShareItsFilesWithoutLoadingOneTwiceOnSQLite) {
    LoadOneDirectoryTwiceAtOnce(TestBackend::kSQLite);
}

// Sessions run on from file to file, so both loaders may insert the same new
// session at once; the loser must take the winner's row, not refuse its line.
TEST(TwoLoadersOnOneDirectory, ShareItsFilesWithoutLoadingOneTwiceOnPostgreSQL) {
    LoadOneDirectoryTwiceAtOnce(TestBackend::kPostgreSQL);
}

}  // namespace
