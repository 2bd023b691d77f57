// Loaders running at the same time: several servers' directories into one
// database, two of the loaders started together on one directory. None may load
// a file that another holds (refused duplicate rows would show it), and the
// tables must equal those of the same loads run one after the other. A
// deadlocked loader is caught by the test's time limit.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "../support/auditFiles.h"

namespace {

using namespace auditFiles;

constexpr int kRowCount = 4;

class ConcurrentLoadersTest : public ::testing::TestWithParam<TestBackend> {
  protected:
    void SetUp() override { AFP_REQUIRE_DATABASE(m_together); }

    ScratchDirectory m_scratch;
    TestDatabase m_together{GetParam()};
    TestDatabase m_oneAfterAnother{GetParam()};
};

// Three servers' directories, and a fourth taken by two loaders at once.
// Sessions run on from file to file, so both loaders of the shared directory
// may insert the same new session at once; the loser must take the winner's
// row, not refuse its line.
TEST_P(ConcurrentLoadersTest, LoadersOfSeveralDirectoriesAndOfOneShareTheDatabase) {
    std::vector<std::string> directories;
    for (const char* prefix : {"SA", "SB", "SC"}) {
        directories.push_back(m_scratch / prefix);
        // Each seed also gives a distinct machine name and port.
        const unsigned seed = 31 + static_cast<unsigned>(directories.size());
        ASSERT_EQ(Generate(directories.back(), seed, 3, 120, prefix).exitStatus, 0);
    }
    const std::string shared = m_scratch / "audit";
    ASSERT_EQ(Generate(shared, 41, 8, 60, "SD").exitStatus, 0);
    // The reference: a copy of each directory, loaded one after the other.
    for (const std::string& directory : {directories[0], directories[1], directories[2], shared}) {
        std::filesystem::copy(directory, directory + ".sequential");
        const ProcessResult result =
            RunLoader(m_oneAfterAnother, directory + ".sequential", kRowCount);
        ASSERT_EQ(result.exitStatus, 0);
        ASSERT_EQ(WithoutSummary(result.out), "");
    }
    directories.insert(directories.end(), {shared, shared});
    std::vector<std::unique_ptr<ChildProcess>> loaders;
    for (const std::string& directory : directories) {
        loaders.push_back(
            std::make_unique<ChildProcess>(LoaderCommand(m_together, directory, kRowCount)));
    }
    for (const auto& loader : loaders) {
        EXPECT_EQ(loader->Wait(), 0);
        EXPECT_EQ(WithoutSummary(loader->output()), "");  // refused lines would be listed here
    }
    for (const std::string& directory : directories) {
        EXPECT_EQ(PendingFiles(directory), std::vector<std::string>()) << directory;
    }
    EXPECT_EQ(DumpTables(m_oneAfterAnother), DumpTables(m_together));
}

AFP_ON_BOTH_BACKENDS(ConcurrentLoadersTest);

}  // namespace
