#include "directoryLister.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <string>

namespace {

// A scratch directory, removed with its contents at the end of the test.
class ScratchDir {
  public:
    ScratchDir() {
        std::string pattern = (std::filesystem::temp_directory_path() / "listerXXXXXX").string();
        if (mkdtemp(pattern.data()) != nullptr) {
            m_path = pattern;
        }
    }
    ~ScratchDir() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    const std::string& path() const { return m_path; }
    std::string operator/(const std::string& name) const { return m_path + "/" + name; }

  private:
    std::string m_path;
};

void Touch(const std::string& path) {
    std::FILE* f = std::fopen(path.c_str(), "w");
    ASSERT_NE(f, nullptr) << path;
    std::fclose(f);
}

std::set<std::string> List(const std::string& directory, const std::string& extension) {
    DirectoryLister lister(directory, extension);
    EXPECT_TRUE(lister.IsOpen());
    std::set<std::string> seen;
    DirectoryLister::Entry entry;
    while (lister.Next(entry)) {
        seen.insert((entry.isDirectory ? "dir " : "file ") + entry.name);
    }
    return seen;
}

TEST(DirectoryLister, OffersDirectoriesAndFilesWithTheExtensionOnly) {
    ScratchDir dir;
    ASSERT_FALSE(dir.path().empty());
    Touch(dir / "qxes_audit.log");
    Touch(dir / "qxes_audit_1.LOG");
    Touch(dir / "other.log");
    Touch(dir / "qxes_audit_2.txt");
    Touch(dir / "log");
    ASSERT_EQ(mkdir((dir / "qxes_audit_d.log").c_str(), 0700), 0);
    ASSERT_EQ(mkdir((dir / "plain").c_str(), 0700), 0);
    ASSERT_EQ(symlink("missing.log", (dir / "dangling.log").c_str()), 0);
    ASSERT_EQ(symlink("other.log", (dir / "linked.log").c_str()), 0);
    ASSERT_EQ(symlink("plain", (dir / "linkedDir").c_str()), 0);
    ASSERT_EQ(mkfifo((dir / "pipe.log").c_str(), 0600), 0);

    const std::set<std::string> expected = {"file qxes_audit.log",  "file qxes_audit_1.LOG",
                                            "file other.log",       "file linked.log",
                                            "dir qxes_audit_d.log", "dir plain",
                                            "dir linkedDir"};
    EXPECT_EQ(List(dir.path(), ".log"), expected);
    // The filter's own case does not matter either, nor a trailing "/" on the directory.
    EXPECT_EQ(List(dir.path() + "/", ".LoG"), expected);
}

TEST(DirectoryLister, MissingDirectoryIsNotOpenAndOffersNothing) {
    ScratchDir dir;
    DirectoryLister lister(dir / "absent", ".log");
    EXPECT_FALSE(lister.IsOpen());
    DirectoryLister::Entry entry;
    EXPECT_FALSE(lister.Next(entry));
}

TEST(DirectoryLister, DirectoryExistsOnlyForDirectories) {
    ScratchDir dir;
    Touch(dir / "file");
    ASSERT_EQ(mkdir((dir / "sub").c_str(), 0700), 0);
    ASSERT_EQ(symlink("sub", (dir / "toSub").c_str()), 0);
    ASSERT_EQ(symlink("gone", (dir / "toNothing").c_str()), 0);
    const struct {
        std::string path;
        bool exists;
    } cases[] = {{dir.path(), true},
                 {dir / "sub", true},
                 {dir / "toSub", true},
                 {dir / "file", false},
                 {dir / "toNothing", false},
                 {dir / "absent", false},
                 {"", false}};
    for (const auto& c : cases) {
        EXPECT_EQ(DirectoryLister::DirectoryExists(c.path), c.exists) << c.path;
    }
}

}  // namespace
