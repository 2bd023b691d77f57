#include "directoryLister.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <set>
#include <string>

#include "../support/processRunner.h"

namespace {

class DirectoryListerTest : public ::testing::Test {
  protected:
    void SetUp() override {
        for (const char* file :
             {"qxes_audit.log", "qxes_audit_1.LOG", "other.log", "a.txt", "log"}) {
            WriteFile(Path(file), "x");
        }
        ASSERT_EQ(mkdir(Path("qxes_audit_d.log").c_str(), 0700), 0);
        ASSERT_EQ(mkdir(Path("plain").c_str(), 0700), 0);
        ASSERT_EQ(symlink("missing.log", Path("dangling.log").c_str()), 0);
        ASSERT_EQ(symlink("other.log", Path("linked.log").c_str()), 0);
        ASSERT_EQ(symlink("plain", Path("linkedDir").c_str()), 0);
        ASSERT_EQ(mkfifo(Path("pipe.log").c_str(), 0600), 0);
    }
    std::string Path(const std::string& name) const { return m_scratch / name; }

    ScratchDirectory m_scratch;
    const std::string m_dir = m_scratch.path();
};

std::set<std::string> List(const std::string& directory, const std::string& extension,
                           bool reportOthers = false) {
    DirectoryLister lister(directory, extension, reportOthers);
    EXPECT_TRUE(lister.IsOpen());
    std::set<std::string> seen;
    DirectoryLister::Entry entry;
    while (lister.Next(entry)) {
        const std::string kind = entry.isDirectory         ? "dir"
                                 : entry.otherKind.empty() ? "file"
                                                           : entry.otherKind;
        seen.insert(kind + " " + entry.name);
    }
    return seen;
}

// Links are followed unless other entries are reported: then they, like
// fifos, are reported for what they are.
TEST_F(DirectoryListerTest, OffersEntriesWithTheExtensionInAnyCase) {
    const std::set<std::string> common = {"file qxes_audit.log", "file qxes_audit_1.LOG",
                                          "file other.log", "dir qxes_audit_d.log", "dir plain"};
    std::set<std::string> followed = common, reported = common;
    followed.insert({"file linked.log", "dir linkedDir"});
    reported.insert({"fifo pipe.log", "symbolic link linked.log", "symbolic link dangling.log"});
    EXPECT_EQ(List(m_dir, ".log"), followed);
    EXPECT_EQ(List(m_dir + "/", ".LoG"), followed);
    EXPECT_EQ(List(m_dir, ".log", true), reported);
}

TEST_F(DirectoryListerTest, OnlyDirectoriesExistAndAMissingOneListsNothing) {
    for (const std::string& path : {m_dir, Path("plain"), Path("linkedDir")}) {
        EXPECT_TRUE(DirectoryLister::DirectoryExists(path)) << path;
    }
    for (const std::string& path :
         {Path("other.log"), Path("dangling.log"), Path("absent"), std::string()}) {
        EXPECT_FALSE(DirectoryLister::DirectoryExists(path)) << path;
    }
    DirectoryLister absent(Path("absent"), ".log");
    DirectoryLister::Entry entry;
    EXPECT_FALSE(absent.IsOpen());
    EXPECT_FALSE(absent.Next(entry));
}

}  // namespace
