// Runs the program over a hand-written audit file that holds every kind of
// record and compares the statements of its SQL dump, in order, with the
// expected ones.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "../support/auditFiles.h"

namespace {

using namespace auditFiles;

const std::string kData = std::string(AFP_SOURCE_DIR) + "/tests/data/handlers/";

// The statements of a dump, one a line.
// The statements on the audit tables; the loader's bookkeeping is left out.
std::vector<std::string> Statements(const std::string& text) {
    std::vector<std::string> statements;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (line.find("QXES_LOAD_PROGRESS") != std::string::npos ||
            line.find("QXES_USAGE_PENDING") != std::string::npos) {
            continue;
        }
        for (const char* verb : {"INSERT ", "UPDATE ", "SELECT "}) {
            if (line.rfind(verb, 0) == 0) {
                statements.push_back(line);
            }
        }
    }
    return statements;
}

TEST(HandlerEndToEnd, EveryRecordKindBecomesTheExpectedStatements) {
    TestDatabase database(TestBackend::kSQLite);
    AFP_REQUIRE_DATABASE(database);
    ScratchDirectory dir;
    WriteFile(dir / "qxes_audit_allformats.log", ReadFile(kData + "qxes_audit_allformats.log"));
    std::vector<std::string> command = LoaderCommand(database, dir.path(), 10);
    command.insert(command.end(), {"-df", dir / "dump.sql"});
    const ProcessResult result = RunProcess(command);
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(WithoutSummary(result.out), "");

    const std::string dump = ReadFile(dir / "dump.sql");
    // The connection options (the password as it is), then the connection report.
    EXPECT_EQ(
        dump.rfind(database.dbName() + "\t\t" + database.dbUser() + "\t" + database.dbPassword() +
                       "\tSQ\nDatabase: " + database.dbName() + " Server Version: ",
                   0),
        0u)
        << dump.substr(0, 200);
    const std::vector<std::string> expected =
        Statements(ReadFile(kData + "qxes_audit_allformats.sql"));
    ASSERT_EQ(expected.size(), 35u);
    EXPECT_EQ(Statements(dump), expected);
    EXPECT_EQ(database.countRows("QXES_REQUEST"), 6);
    EXPECT_EQ(NamesIn(dir.path()),
              (std::vector<std::string>{"dump.sql", "qxes_audit_allformats.___"}));
}

}  // namespace
