// The loading loop through the built program, as an administrator runs it:
// what a stopped file is renamed to, what the run prints, and the next run.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "../support/processRunner.h"
#include "loadingTestSupport.h"
#include "testDatabase.h"

namespace {

using namespace loadingTest;

class LoadingProgramTest : public ::testing::Test {
  protected:
    void SetUp() override { AFP_REQUIRE_DATABASE(m_database); }

    ProcessResult Run(const std::string& rowCount, const std::vector<std::string>& more = {}) {
        std::vector<std::string> arguments = {AFP_PROGRAM,
                                              "-dbname",
                                              m_database.dbName(),
                                              "-dbconnect",
                                              m_database.dbConnect(),
                                              "-dbuser",
                                              m_database.dbUser(),
                                              "-dbpass",
                                              m_database.dbPassword(),
                                              "-auditlocation",
                                              m_dir.path(),
                                              "-nbrows",
                                              rowCount};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return RunProcess(arguments);
    }

    long long Hosts() { return m_database.countRows("QXES_DISPATCHER"); }

    TestDatabase m_database;
    ScratchDir m_dir;
};

TEST_F(LoadingProgramTest, StoppedFileIsResumedByTheNextRun) {
    std::vector<std::string> lines = {Startup("host3"), Startup("host4"), Stopper()};
    WriteFile(m_dir / "qxes_audit_a.log", AuditFile(lines));
    ProcessResult result = Run("2");
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(m_dir.Names(), std::set<std::string>{"qxes_audit_a.4.log"});
    EXPECT_EQ(Hosts(), 1);
    // The stopping line, why it stopped, then the run's error code 2.
    const std::string& out = result.out;
    const size_t line = out.find("AFP-0027: ");
    const size_t text = out.find(Stopper().substr(0, Stopper().size() - 1), line);
    const size_t cause = out.find("AFP-0047: ", text);
    const size_t assertion = out.find("KRL_ASSERT(FALSE);", cause);
    const size_t code = out.find("AFP-0002:", assertion);
    EXPECT_NE(code, std::string::npos) << out;
    EXPECT_LT(text, cause) << out;

    lines.back() = Startup("host5");
    WriteFile(m_dir / "qxes_audit_a.4.log", AuditFile(lines));
    result = Run("2");
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(m_dir.Names(), std::set<std::string>{"qxes_audit_a.4.___"});
    EXPECT_EQ(Hosts(), 3);
}

}  // namespace
