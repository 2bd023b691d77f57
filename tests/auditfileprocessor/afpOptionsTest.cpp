// The run options as the command line and the configuration file set them.
#include "afpOptions.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "../support/messageCapture.h"
#include "commandLine.h"
#include "krlAssertError.h"
#include "programGlobals.h"

namespace {

struct Outcome {
    bool accepted = false;
    AFPOptions options;
    std::string messages;
};

Outcome Parse(std::vector<std::string> arguments) {
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

// The five required options, then `extra`.
std::vector<std::string> Args(const std::vector<std::string>& extra = {},
                              const std::string& connect = "LOCAL;SQ;") {
    std::vector<std::string> arguments = {"-dbname",        "audit.db", "-dbconnect", connect,
                                          "-dbuser",        "ann",      "-dbpass",    "secret",
                                          "-auditlocation", "/tmp"};
    arguments.insert(arguments.end(), extra.begin(), extra.end());
    return arguments;
}

std::vector<std::string> Without(const std::string& option) {
    std::vector<std::string> arguments = Args();
    const auto at = std::find(arguments.begin(), arguments.end(), option);
    arguments.erase(at, at + 2);
    return arguments;
}

// Every option a run uses, as one comparable text.
std::string Summary(const AFPOptions& o) {
    return o.dbName + "|" + o.dbType + "|" + o.dbConnect + "|" + o.dbUser + "|" + o.dbPassword +
           "|" + o.auditLocation + "|" + o.sqlDumpFile + "|" + o.errorLogFile + "|" +
           std::to_string(o.transactionRowCount) + "|" + (o.stopOnAllErrors ? "stop" : "go") +
           (o.deleteAuditFiles ? "|delete" : "|keep");
}

TEST(CommandLine, RefusalsShowTheirMessage) {
    const struct {
        std::vector<std::string> arguments;
        std::string messages;
    } cases[] = {
        {{"-dbname", "a", "-dbuser"}, "AFP-0044:\nAFP-0039:\n"},
        {Without("-dbname"), "AFP-0014:\n"},
        {Without("-dbconnect"), "AFP-0015:\n"},
        {Without("-dbuser"), "AFP-0011:\n"},
        {Without("-dbpass"), "AFP-0017:\n"},
        {Without("-auditlocation"), "AFP-0013:\n"},
        {Args({"-VERBOSE"}), "AFP-0042: -verbose\n"},
        {Args({"-nbrows", "-5"}), "AFP-0043: -nbrows\n"},  // a minus sign starts an option
        {Args({"-df"}), "AFP-0043: -df\n"},
        {Args({}, "local;OR;mydb"), "AFP-0019:\n"},
        {Args({"-errorlog", "no-such-afp-error-log.txt"}), "AFP-0041:\n"},
        {Args({"-errorlog", "/no/such/directory/afp.log"}), "AFP-0041:\n"},
    };
    for (const auto& c : cases) {
        const Outcome outcome = Parse(c.arguments);
        EXPECT_FALSE(outcome.accepted) << c.messages;
        EXPECT_EQ(c.messages, outcome.messages);
    }
}

TEST(CommandLine, AcceptedOptionsAreReadAsTheyWere) {
    // A bare error-log name passes only when that file exists here.
    const std::string bareLog = "afp-existing-" + std::to_string(::getpid()) + ".log";
    std::ofstream(bareLog).put('\n');
    const std::string base = "audit.db|SQ||ann|secret|/tmp|";
    const struct {
        std::vector<std::string> arguments;
        std::string summary;
    } cases[] = {
        {Args(), base + "||10|go|keep"},
        {{"-DbName", "Audit.DB", "-DBCONNECT", "LOCAL;SQ;", "-dbuser", "Ann", "-dbpass", "S3cret",
          "stray", "-AuditLocation", "/Tmp", "-DF", "Dump.sql"},
         "Audit.DB|SQ||Ann|S3cret|/Tmp|Dump.sql||10|go|keep"},
        {Args({"-nbrows", "1000"}), base + "||1000|go|keep"},
        {Args({"-nbrows", "70000"}), base + "||4464|go|keep"},  // narrowed to 16 bits
        {Args({"-nbrows", "65546"}), base + "||10|go|keep"},
        {Args({"-nbrows", "0"}), base + "||0|go|keep"},
        {Args({"-nbrows", "abc"}), base + "||0|go|keep"},
        {Args({"-exitonerror", "1"}), base + "||10|stop|keep"},
        {Args({"-exitonerror", "yes"}), base + "||10|go|keep"},
        {Args({"-exitonerror", "0"}), base + "||10|go|keep"},
        {Args({"-errorlog", "/tmp/afp-new-error.log"}),
         base + "|/tmp/afp-new-error.log|10|go|keep"},
        {Args({"-errorlog", bareLog}), base + "|" + bareLog + "|10|go|keep"},
        // The connect text starts at "LOCAL" + 9 whatever the type's length,
        // and its length follows the second ";".
        {Args({}, "LOCAL;OR;mydb"), "audit.db|OR|mydb|ann|secret|/tmp|||10|go|keep"},
        {Args({}, "LOCAL;PG;host=h user=%s"),
         "audit.db|PG|host=h user=%s|ann|secret|/tmp|||10|go|keep"},
        {Args({}, "xLOCAL;PG;db"), "audit.db|PG|db|ann|secret|/tmp|||10|go|keep"},
        {Args({}, "LOCAL;P;abcdef"), "audit.db|P;|bcdef|ann|secret|/tmp|||10|go|keep"},
    };
    for (const auto& c : cases) {
        const Outcome outcome = Parse(c.arguments);
        EXPECT_TRUE(outcome.accepted) << c.summary << ": " << outcome.messages;
        EXPECT_EQ(c.summary, Summary(outcome.options));
    }
    std::remove(bareLog.c_str());
}

TEST(CommandLine, ShortConnectTextOrEmptyValueThrowsOutOfRange) {
    EXPECT_THROW(Parse(Args({}, "LOCAL;SQ")), std::out_of_range);
    EXPECT_THROW(Parse(Args({"-df", ""})), std::out_of_range);
}

class ConfigurationFile : public ::testing::Test {
  protected:
    void SetUp() override {
        char directory[] = "/tmp/afp-conf-XXXXXX";
        ASSERT_NE(::mkdtemp(directory), nullptr);
        m_directory = std::string(directory) + "/";
    }
    void TearDown() override { std::filesystem::remove_all(m_directory); }

    std::string Path() const { return m_directory + "qxesafp.conf"; }
    AFPOptions Load(const std::string& content) {
        std::ofstream(Path(), std::ios::binary) << content;
        AFPOptions options;
        options.LoadConfFileOptions(Path());
        return options;
    }

    std::string m_directory;
};

TEST_F(ConfigurationFile, ReadsEachKeyAsWritten) {
    const std::string defaults = "|||||||";
    const struct {
        std::string content;
        std::string summary;
    } cases[] = {
        {"# settings\nDeleteAuditFiles=1\n  StopOnAllErrors  =  1  \nTransactionRowCount=250\n"
         "ErrorLogFileLocation=/var/log/audit\na line without an equals sign\n\n",
         defaults + "/var/log/audit/qxesafp_errors.log|250|stop|delete"},
        {"TransactionRowCount=50", defaults + "|10|go|keep"},  // no newline: dropped
        {"StopOnAllErrors=1\nTransactionRowCount=50", defaults + "|10|stop|keep"},
        {"TransactionRowCount=0\n", defaults + "|0|go|keep"},
        {"TransactionRowCount=many\n", defaults + "|0|go|keep"},
        {"StopOnAllErrors=yes\n", defaults + "|10|go|keep"},
        {"ErrorLogFileLocation=C:\\logs\\\n", defaults + "C:/logs/qxesafp_errors.log|10|go|keep"},
        {std::string("TransactionRowCount=7\n\0TransactionRowCount=8\n", 46),
         defaults + "|7|go|keep"},
        // 1,500 characters: a line of the first 1,024, the next one dropped,
        // and a line of the last 475 that sets the row count.
        {std::string(1024, '#') + "xTransactionRowCount=42" + std::string(475 - 22, ' ') + "\n",
         defaults + "|42|go|keep"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.summary, Summary(Load(c.content))) << c.content.substr(0, 60);
    }
}

TEST_F(ConfigurationFile, UnknownKeyIsAnAssertionAfterTheLinesBeforeIt) {
    const struct {
        const char* content;
        int rowCount;
    } cases[] = {
        {"stoponallerrors=1\n", 10},    // keys are case-sensitive
        {"StopOnAllErrors\t=1\n", 10},  // only blanks are trimmed
        {" # not a comment=1\n", 10},   // a comment starts in the first column
        {"=1\n", 10},
        {"TransactionRowCount=3\nNoSuchKey=1\n", 3},
    };
    for (const auto& c : cases) {
        std::ofstream(Path()) << c.content;
        AFPOptions options;
        try {
            options.LoadConfFileOptions(Path());
            ADD_FAILURE() << "no assertion for " << c.content;
        } catch (const KRLAssertError& error) {
            EXPECT_EQ(error.getErrorCodeMessage(), "KRL_ASSERT(FALSE);");
            EXPECT_EQ(error.getBackTrace().at(0).line, 148);
        }
        EXPECT_EQ(options.transactionRowCount, c.rowCount) << c.content;
    }
}

TEST_F(ConfigurationFile, TheRunsFileIsTheOneInTheProgramDirectoryIfAny) {
    const char* previous = g_pgm_dir;
    g_pgm_dir = m_directory.c_str();
    AFPOptions options;
    options.LoadConfFileOptions();
    EXPECT_EQ(Summary(options), "||||||||10|go|keep");
    std::ofstream(Path()) << "TransactionRowCount=77\n";
    options.LoadConfFileOptions();
    g_pgm_dir = previous;
    EXPECT_EQ(options.transactionRowCount, 77);
}

}  // namespace
