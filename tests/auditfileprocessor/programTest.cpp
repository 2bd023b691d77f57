// Runs the built program as an administrator would and checks what it prints.
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <string>
#include <vector>

#include "../support/processRunner.h"

namespace {

const std::string kProgram = AFP_PROGRAM;

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

TEST(Program, UsageListsEveryOptionEvenUnderAnUnknownLocale) {
    // Too few arguments: the usage text, one line per option, between the
    // two refusal messages.
    std::string usage = "AFP-0044:[\\s\\S]*AFP-0039: Usage: qxesauditfileprocessor ";
    for (const char* option : {"-dbname", "-dbconnect", "-dbuser", "-dbpass", "-auditlocation",
                               "-df", "-errorlog", "-nbrows", "-exitonerror"}) {
        usage += std::string("[\\s\\S]*\\n  ") + option + " ";
    }
    const struct {
        std::vector<std::string> arguments;
        std::string expected;
    } cases[] = {
        {{kProgram}, usage},
        {{"env", "LC_ALL=xx_YY.NOPE", "LANG=zz", kProgram}, "AFP-0039: Usage:"},
    };
    for (const auto& c : cases) {
        const ProcessResult result = RunProcess(c.arguments);
        EXPECT_EQ(result.exitStatus, 0);
        EXPECT_EQ(result.err, "");
        EXPECT_TRUE(std::regex_search(result.out, std::regex(c.expected + "[\\s\\S]*AFP-0008:")))
            << c.expected << "\n"
            << result.out;
    }
}

TEST(Program, WithoutItsCatalogueStillShowsMessageNumbers) {
    ScratchDirectory directory;
    const std::string copy = directory / "qxesauditfileprocessor";
    std::filesystem::copy_file(kProgram, copy);
    const ProcessResult result = RunProcess({copy, "-dbname", "A", "-dbuser", "B", "-q", "x"});
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.out, "AFP-0042: -q\nAFP-0008:\n");
    EXPECT_TRUE(Contains(result.err, "afpmsg.cat")) << result.err;
}

TEST(Program, ABareNameNotOnThePathIsRefusedCleanly) {
    const ProcessResult result = RunProcess({"env", "PATH=/nonexistent", "/bin/bash", "-c",
                                             "exec -a qxesauditfileprocessor " + kProgram});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_TRUE(Contains(result.err, "cannot find the program's own directory")) << result.err;
    EXPECT_EQ(result.out, "");
}

}  // namespace
