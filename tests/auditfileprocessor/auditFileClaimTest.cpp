// Claiming audit files: the lock that keeps two runs off the same file, and
// the files that a run killed inside its rename test leaves behind. Two real
// loaders on one directory are run by the end-to-end tests.
#include "auditFileClaim.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "loadingTestSupport.h"

namespace {

using namespace loadingTest;

TEST(AuditFileClaim, HeldClaimKeepsOtherClaimsOffUntilReleased) {
    ScratchDir dir;
    const std::string path = dir / "qxes_audit_1.log";
    WriteFile(path, "content");

    AuditFileClaim first;
    ASSERT_TRUE(first.Take(path));
    EXPECT_TRUE(first.IsHeld());
    EXPECT_EQ(dir.Names(), std::set<std::string>{"qxes_audit_1.log"});
    EXPECT_EQ(ReadFile(path), "content");

    AuditFileClaim second;
    EXPECT_FALSE(second.Take(path));
    EXPECT_FALSE(second.IsHeld());

    AuditFileClaim moved = std::move(first);
    EXPECT_FALSE(second.Take(path));
    moved.Release();
    EXPECT_TRUE(second.Take(path));

    AuditFileClaim missing;
    EXPECT_FALSE(missing.Take(dir / "qxes_audit_2.log"));
}

TEST(AuditFileClaim, InterruptedClaimsAreRestoredUnlessHeldOrTaken) {
    ScratchDir dir;
    const std::vector<std::string> files = {
        "qxes_audit_1.log_processing",  // put back
        "qxes_audit_2.LOG_processing",  // put back
        "qxes_audit_3.log_processing",
        "qxes_audit_3.log",                        // name taken
        "qxes_audit_4.log_processing",             // held by a run
        "other.log_processing",                    // not an audit file
        "qxes_audit_5.txt_processing",             // not a log
        "qxes_audit_6.log_processing_processing",  // claimed twice: no log
    };
    for (const std::string& name : files) {
        WriteFile(dir / name, name);
    }
    AuditFileClaim held;
    ASSERT_TRUE(held.Take(dir / "qxes_audit_4.log_processing"));

    AuditFileClaim::RestoreInterruptedClaims(dir.path());
    EXPECT_EQ(dir.Names(),
              (std::set<std::string>{
                  "qxes_audit_1.log", "qxes_audit_2.LOG", "qxes_audit_3.log_processing",
                  "qxes_audit_3.log", "qxes_audit_4.log_processing", "other.log_processing",
                  "qxes_audit_5.txt_processing", "qxes_audit_6.log_processing_processing"}));
    EXPECT_EQ(ReadFile(dir / "qxes_audit_1.log"), "qxes_audit_1.log_processing");
    EXPECT_EQ(ReadFile(dir / "qxes_audit_3.log"), "qxes_audit_3.log");
}

}  // namespace
