// A database that fails at a chosen moment: the program, with its driver
// wrapped by the faults of AFP_FAULT, meets a failing commit, a statement the
// database cannot run, or a connection that drops; the messages say so, and
// once the program has run again the eight tables hold exactly the rows of
// one uninterrupted run.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "../support/auditFiles.h"

namespace {

using namespace auditFiles;
namespace fs = std::filesystem;

constexpr int kRowCount = 7;

struct FaultCase {
    const char* fault;
    // What the faulty run says about it, on SQLite and on PostgreSQL (where
    // a dropped connection is taken up again within the same run).
    const char* sqliteSays;
    const char* postgresSays;
};

class FaultInjectionTest : public ::testing::TestWithParam<TestBackend> {};

TEST_P(FaultInjectionTest, AfterEachFaultARerunLoadsTheRowsOfOneUninterruptedRun) {
    TestDatabase reference(GetParam());
    AFP_REQUIRE_DATABASE(reference);
    ScratchDirectory scratch;
    ASSERT_EQ(Generate(scratch / "generated", 5, 3, 120, "F", true).exitStatus, 0);
    CopyWithTimes(scratch / "generated", scratch / "reference");
    ASSERT_EQ(RunLoader(reference, scratch / "reference", kRowCount).exitStatus, 0);
    const TableDump expected = DumpTables(reference);

    const std::vector<FaultCase> cases = {
        {"commit=4", "injected fault: commit 4 failed", "injected fault: commit 4 failed"},
        {"statement=150", "injected fault: statement 150 cannot run",
         "injected fault: statement 150 cannot run"},
        {"drop=300", "injected fault: the connection was dropped", "AFP-0057"},
    };
    for (const FaultCase& c : cases) {
        SCOPED_TRACE(c.fault);
        TestDatabase database(GetParam());
        const std::string directory = scratch / (std::string("fault-") + c.fault);
        CopyWithTimes(scratch / "generated", directory);
        std::vector<std::string> command = LoaderCommand(database, directory, kRowCount);
        command.front() = AFP_FAULTY_PROGRAM;
        command.insert(command.begin(), {"env", std::string("AFP_FAULT=") + c.fault});
        const ProcessResult faulty = RunProcess(command);
        const bool postgres = GetParam() == TestBackend::kPostgreSQL;
        EXPECT_NE(Count(faulty.out, postgres ? c.postgresSays : c.sqliteSays), 0u) << faulty.out;
        std::string output = faulty.out;
        for (int run = 0; run < 2 && !PendingFiles(directory).empty(); ++run) {
            output += RunLoader(database, directory, kRowCount).out;
        }
        EXPECT_TRUE(PendingFiles(directory).empty()) << output;
        EXPECT_EQ(Count(output, "AFP-0026"), 0u) << output;
        EXPECT_EQ(DumpTables(database), expected) << output;
    }
}

// Another loader inserts a session after this one found it missing and before
// its held batch went out: the batch is rolled back and run statement by
// statement, which finds the session; rows and messages are those of a load
// that never met the other loader.
TEST_P(FaultInjectionTest, ASessionInsertedByAnotherLoaderMidBatchReplaysTheBatch) {
    if (GetParam() != TestBackend::kPostgreSQL) {
        GTEST_SKIP() << "only PostgreSQL holds batches";
    }
    ScratchDirectory scratch;
    ASSERT_EQ(Generate(scratch / "generated", 6, 3, 120, "F", true).exitStatus, 0);
    const std::string directory = scratch / "audit", dump = scratch / "dump.sql";
    TestDatabase reference(GetParam()), database(GetParam());
    AFP_REQUIRE_DATABASE(reference);
    CopyWithTimes(scratch / "generated", directory);
    const ProcessResult plain = RunLoader(reference, directory, kRowCount);
    std::filesystem::remove_all(directory);
    CopyWithTimes(scratch / "generated", directory);
    std::vector<std::string> command =
        LoaderCommand(database, directory, kRowCount, {{"-df", dump}});
    command.front() = AFP_FAULTY_PROGRAM;
    command.insert(command.begin(), {"env", "AFP_FAULT=intrude=3"});
    const ProcessResult intruded = RunProcess(command);

    const std::string::size_type at = intruded.err.find("intruded: ");
    ASSERT_NE(at, std::string::npos) << intruded.err;
    const std::string session = intruded.err.substr(at + 10, intruded.err.find('\n', at) - at - 10);
    EXPECT_EQ(Count(ReadFile(dump),
                    "INSERT INTO QXES_SESSION(SESSION_ID, USER_NAME) VALUES ('" + session + "'"),
              0u);
    EXPECT_EQ(WithoutSummary(intruded.out), WithoutSummary(plain.out));
    EXPECT_EQ(DumpTables(database), DumpTables(reference));
}

AFP_ON_BOTH_BACKENDS(FaultInjectionTest);

}  // namespace
