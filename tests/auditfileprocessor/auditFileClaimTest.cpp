// Claiming audit files: the lock that keeps two runs off the same file, and
// the files that a run killed inside its rename test leaves behind.
#include "auditFileClaim.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "../support/auditFiles.h"

namespace {

using namespace auditFiles;
using Names = std::vector<std::string>;

TEST(AuditFileClaim, HeldClaimKeepsOtherClaimsOffUntilReleased) {
    ScratchDirectory dir;
    const std::string path = dir / "qxes_audit_1.log";
    WriteFile(path, "content");

    AuditFileClaim first;
    ASSERT_TRUE(first.Take(path));
    EXPECT_EQ(NamesIn(dir.path()), Names{"qxes_audit_1.log"});
    EXPECT_EQ(ReadFile(path), "content");
    AuditFileClaim second;
    EXPECT_FALSE(second.Take(path));
    EXPECT_FALSE(second.IsHeld());
    AuditFileClaim moved = std::move(first);
    EXPECT_FALSE(second.Take(path));
    moved.Release();
    EXPECT_TRUE(second.Take(path));
    EXPECT_FALSE(AuditFileClaim().Take(dir / "qxes_audit_2.log"));
}

TEST(AuditFileClaim, InterruptedClaimsArePutBackUnlessHeldOrTaken) {
    ScratchDirectory dir;
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
               "qxes_audit_5.txt_processing", "qxes_audit_6.log_processing_processing"}));
    EXPECT_EQ(ReadFile(dir / "qxes_audit_1.log"), "qxes_audit_1.log_processing");
    EXPECT_EQ(ReadFile(dir / "qxes_audit_3.log"), "qxes_audit_3.log");
}

}  // namespace
