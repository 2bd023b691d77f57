// Runs the built program as an administrator would and checks what it prints.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "../support/processRunner.h"

namespace {

const std::string kProgram = AFP_PROGRAM;

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

TEST(Program, WithoutArgumentsShowsUsageAndExitsZero) {
    const ProcessResult result = RunProcess({kProgram});
    EXPECT_EQ(result.exitStatus, 0);
    const size_t tooFew = result.out.find("AFP-0044:");
    const size_t usage = result.out.find("AFP-0039: Usage: qxesauditfileprocessor");
    const size_t refused = result.out.find("AFP-0008:");
    ASSERT_NE(tooFew, std::string::npos) << result.out;
    ASSERT_NE(usage, std::string::npos) << result.out;
    ASSERT_NE(refused, std::string::npos) << result.out;
    EXPECT_LT(tooFew, usage);
    EXPECT_LT(usage, refused);
    for (const char* option : {"-dbname", "-dbconnect", "-dbuser", "-dbpass", "-auditlocation",
                               "-df", "-errorlog", "-nbrows", "-exitonerror"}) {
        EXPECT_TRUE(Contains(result.out, std::string("\n  ") + option)) << option;
    }
    EXPECT_EQ(result.err, "");
}

TEST(Program, RefusalsNameTheProblem) {
    struct Case {
        std::vector<std::string> arguments;
        std::string expected;
    };
    const std::vector<Case> cases = {
        {{"-dbname", "A", "-dbuser", "B", "-dbpass", "C"}, "AFP-0015:"},
        {{"-dbname", "A", "-dbconnect", "LOCAL;SQ;", "-dbuser", "B", "-dbpass", "C",
          "-auditlocation", "/tmp", "-bogus"},
         "AFP-0042: Unknown option -bogus."},
        {{"-dbname", "A", "-dbconnect", "LOCAL;SQ;", "-dbuser", "B", "-dbpass", "C",
          "-auditlocation", "/tmp", "-nbrows"},
         "AFP-0043: The option -nbrows needs a value"},
    };
    for (const Case& c : cases) {
        std::vector<std::string> arguments = c.arguments;
        arguments.insert(arguments.begin(), kProgram);
        const ProcessResult result = RunProcess(arguments);
        EXPECT_EQ(result.exitStatus, 0);
        EXPECT_TRUE(Contains(result.out, c.expected)) << result.out;
        EXPECT_TRUE(Contains(result.out, "AFP-0008:")) << result.out;
    }
}

TEST(Program, AnInvalidLocaleStillGivesMessages) {
    const ProcessResult result = RunProcess({kProgram}, {"LC_ALL=xx_YY.NOPE", "LANG=zz"});
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_TRUE(Contains(result.out, "AFP-0039: Usage:")) << result.out;
}

TEST(Program, WithoutItsCatalogueStillShowsMessageNumbers) {
    char directory[] = "/tmp/afp-nocatalogue-XXXXXX";
    ASSERT_NE(::mkdtemp(directory), nullptr);
    const std::string copy = std::string(directory) + "/qxesauditfileprocessor";
    {
        std::ifstream in(kProgram, std::ios::binary);
        std::ofstream out(copy, std::ios::binary);
        out << in.rdbuf();
    }
    ASSERT_EQ(::chmod(copy.c_str(), 0755), 0);
    const ProcessResult result = RunProcess({copy, "-dbname", "A", "-dbuser", "B", "-q", "x"});
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.out, "AFP-0042: -q\nAFP-0008:\n");
    EXPECT_TRUE(Contains(result.err, "afpmsg.cat")) << result.err;
    std::remove(copy.c_str());
    ::rmdir(directory);
}

TEST(Program, ABareNameNotOnThePathIsRefusedCleanly) {
    const ProcessResult result = RunProcess(
        {"/bin/bash", "-c", "exec -a qxesauditfileprocessor " + kProgram}, {"PATH=/nonexistent"});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_TRUE(Contains(result.err, "cannot find the program's own directory")) << result.err;
    EXPECT_EQ(result.out, "");
}

}  // namespace
