// Claiming audit files: the lock that keeps two runs off the same file, and
// the files that a run killed inside its rename test leaves behind.
#include "auditFileClaim.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <set>
#include <string>
#include <vector>

#include "loadingTestSupport.h"
#include "messenger.h"
#include "sqldbapi.h"
#include "testDatabase.h"

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

TEST(AuditFileClaim, TwoLoadersOnOneDirectoryLoadEachFileOnce) {
    TestDatabase database;
    AFP_REQUIRE_DATABASE(database);
    ScratchDir dir;
    constexpr int kFiles = 10;
    constexpr int kHostsPerFile = 20;
    for (int file = 0; file < kFiles; ++file) {
        std::vector<std::string> lines;
        for (int host = 0; host < kHostsPerFile; ++host) {
            lines.push_back(Startup("h" + std::to_string(file) + "_" + std::to_string(host)));
        }
        WriteFile(dir / ("qxes_audit_" + std::to_string(file) + ".log"), AuditFile(lines));
    }

    // The loaders connect one after the other, then wait at the gate, ready to
    // load, so that they start together; a commit per line keeps both busy long
    // enough to meet on the same files.
    int startGate[2];
    ASSERT_EQ(pipe(startGate), 0);
    std::vector<pid_t> loaders;
    for (int loader = 0; loader < 2; ++loader) {
        int ready[2];
        ASSERT_EQ(pipe(ready), 0);
        const pid_t pid = fork();
        ASSERT_GE(pid, 0);
        if (pid == 0) {
            close(startGate[1]);
            close(ready[0]);
            // The parent's error log stream is not this process's to close.
            Messenger::m_fpErrorLogFile = nullptr;
            Messenger::m_sErrorLogFileName = dir / ("loader" + std::to_string(loader) + ".txt");
            int status = 0;
            try {
                SQLDB db;
                db.connect(database.dbName(), database.connectString(), database.dbType(),
                           database.dbUser(), database.dbPassword());
                Parser parser(LoadingOptions(dir.path(), 1), &db, "/");
                char signal = 'r';
                (void)!write(ready[1], &signal, 1);
                close(ready[1]);
                (void)!read(startGate[0], &signal, 1);
                parser.ParseDir();
            } catch (const std::exception& error) {
                Messenger::Get().DisplayMessage(error.what());
                status = 1;
            }
            _exit(status);
        }
        loaders.push_back(pid);
        close(ready[1]);
        char signal = 0;
        const ssize_t got = read(ready[0], &signal, 1);
        close(ready[0]);
        EXPECT_EQ(got, 1) << "loader " << loader << " could not get ready";
    }
    close(startGate[0]);
    close(startGate[1]);
    for (pid_t pid : loaders) {
        int status = 0;
        ASSERT_EQ(waitpid(pid, &status, 0), pid);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }

    // A file loaded twice shows as refused duplicate rows or a failed rename.
    for (int loader = 0; loader < 2; ++loader) {
        EXPECT_EQ(ReadFile(dir / ("loader" + std::to_string(loader) + ".txt")), "");
    }
    EXPECT_EQ(database.countRows("QXES_DISPATCHER"), kFiles * kHostsPerFile);
    for (int file = 0; file < kFiles; ++file) {
        EXPECT_TRUE(dir.Names().count("qxes_audit_" + std::to_string(file) + ".___")) << file;
    }
}

}  // namespace
