// Claiming audit files: the lock that keeps two runs off the same file, and
// the files that a run killed inside its rename test leaves behind.
#include "auditFileClaim.h"

#include <grp.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "../support/auditFiles.h"

namespace {

using namespace auditFiles;
using Names = std::vector<std::string>;
using Outcome = AuditFileClaim::Outcome;

struct Attempt {
    Outcome outcome = Outcome::kFailed;
    std::string reason;
    bool ran = true;  // false: no unprivileged user could be had
};

// Takes path as an unprivileged user, for whom file modes count: here when
// the test is not root, else in a child that drops to "nobody".
Attempt TakeUnprivileged(const std::string& path) {
    Attempt attempt;
    if (::geteuid() != 0) {
        AuditFileClaim claim;
        attempt.outcome = claim.Take(path, attempt.reason);
        return attempt;
    }
    const passwd* nobody = ::getpwnam("nobody");
    const uid_t uid = nobody != nullptr ? nobody->pw_uid : 65534;
    const gid_t gid = nobody != nullptr ? nobody->pw_gid : 65534;
    int channel[2];
    if (::pipe(channel) != 0) {
        attempt.ran = false;
        return attempt;
    }
    const pid_t child = ::fork();
    if (child == 0) {
        ::close(channel[0]);
        if (::setgroups(0, nullptr) != 0 || ::setgid(gid) != 0 || ::setuid(uid) != 0) {
            ::_exit(3);
        }
        std::string reason;
        const std::string report = static_cast<char>(AuditFileClaim().Take(path, reason)) + reason;
        const bool written = ::write(channel[1], report.data(), report.size()) ==
                             static_cast<ssize_t>(report.size());
        ::_exit(written ? 0 : 4);
    }
    ::close(channel[1]);
    const std::string report = ReadFile("/proc/self/fd/" + std::to_string(channel[0]));
    ::close(channel[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    if (child < 0 || !WIFEXITED(status) || WEXITSTATUS(status) != 0 || report.empty()) {
        attempt.ran = false;
        return attempt;
    }
    attempt.outcome = static_cast<Outcome>(report[0]);
    attempt.reason = report.substr(1);
    return attempt;
}

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

TEST(AuditFileClaim, TellsFilesTakenElsewhereFromOtherEntriesAndFailures) {
    ScratchDirectory dir;
    const std::string locked = dir / "locked";
    WriteFile(dir / "held.log", "held");
    WriteFile(dir / "target.log", "target");
    ASSERT_EQ(::symlink("target.log", (dir / "link.log").c_str()), 0);
    ASSERT_EQ(::mkfifo((dir / "fifo.log").c_str(), 0600), 0);
    WriteFile(dir / "unreadable.log", "secret");
    ASSERT_EQ(::chmod((dir / "unreadable.log").c_str(), 0), 0);
    ASSERT_EQ(::mkdir(locked.c_str(), 0700), 0);
    WriteFile(locked + "/file.log", "file");
    ASSERT_EQ(::chmod((locked + "/file.log").c_str(), 0644), 0);
    ASSERT_EQ(::chmod(locked.c_str(), 0555), 0);
    ASSERT_EQ(::chmod(dir.path().c_str(), 0755), 0);
    AuditFileClaim held;
    std::string reason;
    ASSERT_EQ(held.Take(dir / "held.log", reason), Outcome::kTaken);
    const Names before = NamesIn(dir.path());

    const std::string denied = std::strerror(EACCES);
    const struct {
        std::string path;
        bool unprivileged;
        Outcome outcome;
        std::string reason;
    } cases[] = {
        {dir / "held.log", false, Outcome::kTakenElsewhere, ""},
        {dir / "missing.log", false, Outcome::kTakenElsewhere, ""},
        {dir / "link.log", false, Outcome::kNotRegular, "symbolic link"},
        {dir / "fifo.log", false, Outcome::kNotRegular, "fifo"},
        {dir / "unreadable.log", true, Outcome::kFailed, "cannot open it: " + denied},
        {locked + "/file.log", true, Outcome::kFailed,
         "cannot rename it to " + locked + "/file.log_processing: " + denied},
    };
    bool skipped = false;
    for (const auto& c : cases) {
        Attempt attempt;
        if (c.unprivileged) {
            attempt = TakeUnprivileged(c.path);
        } else {
            AuditFileClaim claim;
            attempt.outcome = claim.Take(c.path, attempt.reason);
            EXPECT_EQ(claim.IsHeld(), c.outcome == Outcome::kTaken) << c.path;
        }
        if (!attempt.ran) {
            skipped = true;
            continue;
        }
        EXPECT_EQ(attempt.outcome, c.outcome) << c.path;
        EXPECT_EQ(attempt.reason, c.reason) << c.path;
    }
    // Nothing was renamed, and the link still leads to its untouched target.
    EXPECT_EQ(NamesIn(dir.path()), before);
    EXPECT_EQ(NamesIn(locked), Names{"file.log"});
    EXPECT_EQ(ReadFile(dir / "link.log"), "target");
    ASSERT_EQ(::chmod(locked.c_str(), 0700), 0);
    if (skipped) {
        GTEST_SKIP() << "no unprivileged user: the permission cases did not run";
    }
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
