// Claiming audit files: the lock that keeps two runs off the same file, and
// the files that a run killed inside its rename test leaves behind.
#include "auditFileClaim.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "../../support/auditFiles.h"

namespace {

using namespace auditFiles;
using Names = std::vector<std::string>;
using Outcome = AuditFileClaim::Outcome;

TEST(AuditFileClaim, HeldClaimKeepsOtherClaimsOffUntilReleased) {
    ScratchDirectory dir;
    const std::string path = dir / "qxes_audit_1.log";
    WriteFile(path, "content");
    std::string reason;

    AuditFileClaim first;
    ASSERT_EQ(first.Take(path, reason), Outcome::kTaken) << reason;
    EXPECT_EQ(NamesIn(dir.path()), Names{"qxes_audit_1.log"});
    EXPECT_EQ(ReadFile(path), "content");
    AuditFileClaim second;
    EXPECT_EQ(second.Take(path, reason), Outcome::kTakenElsewhere);
    EXPECT_FALSE(second.IsHeld());
    AuditFileClaim moved = std::move(first);
    EXPECT_EQ(second.Take(path, reason), Outcome::kTakenElsewhere);
    moved.Release();
    EXPECT_EQ(second.Take(path, reason), Outcome::kTaken);
    EXPECT_TRUE(second.IsHeld());
}

// Refusals that need an unprivileged user (unreadable files, a directory
// that takes no renames) are met by the loader's end-to-end entry test.
TEST(AuditFileClaim, TellsFilesTakenElsewhereFromOtherEntries) {
    ScratchDirectory dir;
    WriteFile(dir / "held.log", "held");
    WriteFile(dir / "target.log", "target");
    WriteFile(dir / "new.log", "new"), WriteFile(dir / "new.log_processing", "left by a kill");
    ASSERT_EQ(::symlink("target.log", (dir / "link.log").c_str()), 0);
    ASSERT_EQ(::mkfifo((dir / "fifo.log").c_str(), 0600), 0);
    AuditFileClaim held;
    std::string reason;
    ASSERT_EQ(held.Take(dir / "held.log", reason), Outcome::kTaken);
    const Names before = NamesIn(dir.path());
    const struct {
        const char* name;
        Outcome outcome;
        std::string reason;
    } cases[] = {
        {"held.log", Outcome::kTakenElsewhere, ""},
        {"missing.log", Outcome::kTakenElsewhere, ""},
        {"link.log", Outcome::kNotRegular, "symbolic link"},
        {"fifo.log", Outcome::kNotRegular, "fifo"},
        {"new.log", Outcome::kNameTaken, dir / "new.log_processing"},
    };
    for (const auto& c : cases) {
        AuditFileClaim claim;
        std::string why;
        EXPECT_EQ(claim.Take(dir / c.name, why), c.outcome) << c.name;
        EXPECT_EQ(why, c.reason) << c.name;
        EXPECT_FALSE(claim.IsHeld()) << c.name;
    }
    // Nothing was renamed, and the link still leads to its untouched target.
    EXPECT_EQ(NamesIn(dir.path()), before);
    EXPECT_EQ(ReadFile(dir / "link.log"), "target");
    EXPECT_EQ(ReadFile(dir / "new.log_processing"), "left by a kill");
}

TEST(AuditFileClaim, InterruptedClaimsArePutBackUnlessHeldOrTaken) {
    ScratchDirectory dir;
    ASSERT_EQ(
        ::symlink("qxes_audit_1.log_processing", (dir / "qxes_audit_7.log_processing").c_str()), 0);
    ASSERT_EQ(::mkfifo((dir / "qxes_audit_8.log_processing").c_str(), 0600), 0);
    for (const char* name :
         {"qxes_audit_1.log_processing", "qxes_audit_2.LOG_processing",
          "qxes_audit_3.log_processing", "qxes_audit_3.log", "qxes_audit_4.log_processing",
          "other.log_processing", "qxes_audit_5.txt_processing",
          "qxes_audit_6.log_processing_processing"}) {
        WriteFile(dir / name, name);
    }
    AuditFileClaim held;
    ASSERT_TRUE(held.Take(dir / "qxes_audit_4.log_processing"));

    AuditFileClaim::RestoreInterruptedClaims(dir.path());
    EXPECT_EQ(
        NamesIn(dir.path()),
        (Names{"other.log_processing", "qxes_audit_1.log", "qxes_audit_2.LOG", "qxes_audit_3.log",
               "qxes_audit_3.log_processing", "qxes_audit_4.log_processing",
               "qxes_audit_5.txt_processing", "qxes_audit_6.log_processing_processing",
               "qxes_audit_7.log_processing", "qxes_audit_8.log_processing"}));
    EXPECT_EQ(ReadFile(dir / "qxes_audit_1.log"), "qxes_audit_1.log_processing");
    EXPECT_EQ(ReadFile(dir / "qxes_audit_3.log"), "qxes_audit_3.log");
}

}  // namespace
