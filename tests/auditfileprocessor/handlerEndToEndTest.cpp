// Runs the program over a hand-written audit file that holds every kind of
// record and compares the statements of its SQL dump, in order, with the
// expected ones.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "../support/processRunner.h"
#include "testDatabase.h"

namespace {

const std::string kData = std::string(AFP_SOURCE_DIR) + "/tests/data/handlers/";

std::string ReadAll(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream content;
    content << in.rdbuf();
    return content.str();
}

// The statements of a dump, one a line, without the connection report before them.
std::vector<std::string> Statements(const std::string& text) {
    std::vector<std::string> statements;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
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
    char directory[] = "/tmp/afp-handlers-XXXXXX";
    ASSERT_NE(::mkdtemp(directory), nullptr);
    const std::string audit = std::string(directory) + "/qxes_audit_allformats.log";
    const std::string dump = std::string(directory) + "/dump.sql";
    {
        std::ofstream copy(audit, std::ios::binary);
        copy << ReadAll(kData + "qxes_audit_allformats.log");
    }

    const ProcessResult result =
        RunProcess({AFP_PROGRAM, "-dbname", database.dbName(), "-dbconnect", database.dbConnect(),
                    "-dbuser", database.dbUser(), "-dbpass", database.dbPassword(),
                    "-auditlocation", directory, "-df", dump});
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.out, "");

    const std::vector<std::string> expected =
        Statements(ReadAll(kData + "qxes_audit_allformats.sql"));
    ASSERT_EQ(expected.size(), 35u);
    EXPECT_EQ(Statements(ReadAll(dump)), expected);
    // Committed, and the file set aside as loaded.
    EXPECT_EQ(database.countRows("QXES_REQUEST"), 6);
    EXPECT_EQ(::access((std::string(directory) + "/qxes_audit_allformats.___").c_str(), F_OK), 0);

    std::remove((std::string(directory) + "/qxes_audit_allformats.___").c_str());
    std::remove(audit.c_str());
    std::remove(dump.c_str());
    ::rmdir(directory);
}

}  // namespace
