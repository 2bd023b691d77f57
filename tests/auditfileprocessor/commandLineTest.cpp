#include "commandLine.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "../support/messageCapture.h"

namespace {

struct Outcome {
    bool accepted = false;
    AFPOptions options;
    std::string messages;
};

Outcome RunCommandLine(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "qxesauditfileprocessor");
    std::vector<char*> argv;
    for (std::string& argument : arguments) {
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    MessageCapture capture;
    Outcome outcome;
    outcome.accepted =
        ProcessCommandLine(static_cast<int>(arguments.size()), argv.data(), &outcome.options);
    outcome.messages = capture.Text();
    return outcome;
}

std::vector<std::string> Required(std::vector<std::string> extra = {}) {
    std::vector<std::string> arguments = {"-dbname",        "audit.db", "-dbconnect", "LOCAL;SQ;",
                                          "-dbuser",        "ann",      "-dbpass",    "secret",
                                          "-auditlocation", "/tmp"};
    arguments.insert(arguments.end(), extra.begin(), extra.end());
    return arguments;
}

struct RefusalCase {
    const char* name;
    std::vector<std::string> arguments;
    std::string messages;
};

void PrintTo(const RefusalCase& refusal, std::ostream* out) {
    *out << refusal.name;
}

class CommandLineRefusal : public ::testing::TestWithParam<RefusalCase> {};

TEST_P(CommandLineRefusal, ShowsItsMessageAndRefuses) {
    const Outcome outcome = RunCommandLine(GetParam().arguments);
    EXPECT_FALSE(outcome.accepted);
    EXPECT_EQ(outcome.messages, GetParam().messages);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, CommandLineRefusal,
    ::testing::Values(
        RefusalCase{"TooFewArguments", {"-dbname", "a", "-dbuser"}, "AFP-0044:\nAFP-0039:\n"},
        RefusalCase{
            "DbConnectMissing", {"-dbname", "A", "-dbuser", "B", "-dbpass", "C"}, "AFP-0015:\n"},
        RefusalCase{"DbNameMissing",
                    {"-dbconnect", "LOCAL;SQ;", "-dbuser", "B", "-dbpass", "C"},
                    "AFP-0014:\n"},
        RefusalCase{"DbUserMissing",
                    {"-dbname", "A", "-dbconnect", "LOCAL;SQ;", "-dbpass", "C"},
                    "AFP-0011:\n"},
        RefusalCase{"DbPassMissing",
                    {"-dbname", "A", "-dbconnect", "LOCAL;SQ;", "-dbuser", "B"},
                    "AFP-0017:\n"},
        RefusalCase{"AuditLocationMissing",
                    {"-dbname", "A", "-dbconnect", "LOCAL;SQ;", "-dbuser", "B", "-dbpass", "C"},
                    "AFP-0013:\n"},
        RefusalCase{"UnknownOptionIsNamedInLowerCase", Required({"-VERBOSE"}),
                    "AFP-0042: -verbose\n"},
        RefusalCase{"NegativeRowCountReadsAsMissingValue", Required({"-nbrows", "-5"}),
                    "AFP-0043: -nbrows\n"},
        RefusalCase{"ValueMissingAtTheEnd", Required({"-df"}), "AFP-0043: -df\n"},
        RefusalCase{"ConnectTextWithoutLocal",
                    {"-dbname", "A", "-dbconnect", "local;OR;mydb", "-dbuser", "B", "-dbpass", "C",
                     "-auditlocation", "/tmp"},
                    "AFP-0019:\n"},
        RefusalCase{"BareErrorLogNameThatDoesNotExist",
                    Required({"-errorlog", "no-such-afp-error-log.txt"}), "AFP-0041:\n"},
        RefusalCase{"ErrorLogInMissingDirectory",
                    Required({"-errorlog", "/no/such/directory/afp.log"}), "AFP-0041:\n"}),
    [](const ::testing::TestParamInfo<RefusalCase>& info) { return info.param.name; });

TEST(CommandLine, AcceptsTheRequiredOptionsWithDefaults) {
    const Outcome outcome = RunCommandLine(Required());
    ASSERT_TRUE(outcome.accepted) << outcome.messages;
    EXPECT_EQ(outcome.options.dbName, "audit.db");
    EXPECT_EQ(outcome.options.dbType, "SQ");
    EXPECT_EQ(outcome.options.dbConnect, "");
    EXPECT_EQ(outcome.options.transactionRowCount, 10);
    EXPECT_FALSE(outcome.options.stopOnAllErrors);
    EXPECT_FALSE(outcome.options.deleteAuditFiles);
    EXPECT_EQ(outcome.messages, "");
}

TEST(CommandLine, OptionWordsIgnoreCaseAndValuesKeepIt) {
    const Outcome outcome =
        RunCommandLine({"-DbName", "Audit.DB", "-DBCONNECT", "LOCAL;SQ;", "-dbuser", "Ann",
                        "-dbpass", "S3cret", "stray", "-AuditLocation", "/Tmp"});
    ASSERT_TRUE(outcome.accepted) << outcome.messages;
    EXPECT_EQ(outcome.options.dbName, "Audit.DB");
    EXPECT_EQ(outcome.options.dbUser, "Ann");
    EXPECT_EQ(outcome.options.auditLocation, "/Tmp");
}

struct NumberCase {
    std::string option;
    std::string value;
    int rowCount;
    bool stopOnAllErrors;
};

TEST(CommandLine, NumbersAreReadAsTheyWere) {
    const std::vector<NumberCase> cases = {
        {"-nbrows", "1000", 1000, false},   {"-nbrows", "70000", 4464, false},
        {"-nbrows", "65546", 10, false},    {"-nbrows", "0", 0, false},
        {"-nbrows", "abc", 0, false},       {"-exitonerror", "1", 10, true},
        {"-exitonerror", "yes", 10, false}, {"-exitonerror", "0", 10, false},
    };
    for (const NumberCase& c : cases) {
        const Outcome outcome = RunCommandLine(Required({c.option, c.value}));
        ASSERT_TRUE(outcome.accepted) << c.option << " " << c.value;
        EXPECT_EQ(outcome.options.transactionRowCount, c.rowCount) << c.option << " " << c.value;
        EXPECT_EQ(outcome.options.stopOnAllErrors, c.stopOnAllErrors) << c.option << " " << c.value;
    }
}

TEST(CommandLine, ConnectTextArithmetic) {
    struct Case {
        std::string text, type, connect;
    };
    const std::vector<Case> cases = {
        {"LOCAL;OR;mydb", "OR", "mydb"},
        {"LOCAL;PG;host=h port=1 user=%s password=%s", "PG", "host=h port=1 user=%s password=%s"},
        {"LOCAL;SQ;", "SQ", ""},
        // The start is fixed at LOCAL + 9 while the length follows the second ";".
        {"xLOCAL;PG;db", "PG", "db"},
        {"LOCAL;P;abcdef", "P;", "bcdef"},
    };
    for (const Case& c : cases) {
        const Outcome outcome = RunCommandLine({"-dbname", "d", "-dbconnect", c.text, "-dbuser",
                                                "u", "-dbpass", "p", "-auditlocation", "/tmp"});
        ASSERT_TRUE(outcome.accepted) << c.text;
        EXPECT_EQ(outcome.options.dbType, c.type) << c.text;
        EXPECT_EQ(outcome.options.dbConnect, c.connect) << c.text;
    }
}

TEST(CommandLine, ConnectTextTooShortThrowsOutOfRange) {
    EXPECT_THROW(RunCommandLine({"-dbname", "d", "-dbconnect", "LOCAL;SQ", "-dbuser", "u",
                                 "-dbpass", "p", "-auditlocation", "/tmp"}),
                 std::out_of_range);
}

TEST(CommandLine, EmptyValueThrowsOutOfRange) {
    EXPECT_THROW(RunCommandLine(Required({"-df", ""})), std::out_of_range);
}

TEST(CommandLine, ErrorLogPaths) {
    char directory[] = "/tmp/afp-cmdline-XXXXXX";
    ASSERT_NE(::mkdtemp(directory), nullptr);
    const std::string newLog = std::string(directory) + "/new.log";
    Outcome outcome = RunCommandLine(Required({"-errorlog", newLog}));
    EXPECT_TRUE(outcome.accepted) << outcome.messages;
    EXPECT_EQ(outcome.options.errorLogFile, newLog);

    // A bare name passes only when that file exists in the working directory.
    char previous[4096];
    ASSERT_NE(::getcwd(previous, sizeof(previous)), nullptr);
    ASSERT_EQ(::chdir(directory), 0);
    std::FILE* existing = std::fopen("existing.log", "w");
    ASSERT_NE(existing, nullptr);
    std::fclose(existing);
    outcome = RunCommandLine(Required({"-errorlog", "existing.log"}));
    EXPECT_TRUE(outcome.accepted) << outcome.messages;
    std::remove("existing.log");
    ASSERT_EQ(::chdir(previous), 0);
    ::rmdir(directory);
}

}  // namespace
