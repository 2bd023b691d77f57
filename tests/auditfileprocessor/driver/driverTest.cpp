// The run options as the command line and the configuration file set them,
// and the numbered messages that report on them.
#include "afpOptions.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "../../support/messageCapture.h"
#include "../../support/thrown.h"
#include "commandLine.h"
#include "messenger.h"
#include "passwordMask.h"
#include "programGlobals.h"

namespace {

// Every option a run uses, as one comparable text.
std::string Summary(const AFPOptions& o) {
    return o.dbName + "|" + o.dbType + "|" + o.dbConnect + "|" + o.dbUser + "|" + o.dbPassword +
           "|" + o.auditLocation + "|" + o.sqlDumpFile + "|" + o.errorLogFile + "|" +
           std::to_string(o.transactionRowCount) + "|" + (o.stopOnAllErrors ? "stop" : "go") +
           (o.deleteAuditFiles ? "|delete" : "|keep");
}

// The options the command line gives and any messages shown on the way;
// `scheduled` also gets the options of scheduled runs when they are accepted.
std::string Parse(std::vector<std::string> arguments, std::string* scheduled = nullptr) {
    arguments.insert(arguments.begin(), "qxesauditfileprocessor");
    std::vector<char*> argv;
    for (std::string& argument : arguments) {
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    MessageCapture capture;
    AFPOptions o;
    const bool accepted = ProcessCommandLine(static_cast<int>(arguments.size()), argv.data(), &o);
    if (accepted && scheduled != nullptr) {
        *scheduled = o.rejectFile + "|" + o.passwordFile + "|" +
                     (o.detailedExitStatus ? "detailed" : "plain") + "|" + o.reportFile + "|" +
                     o.metricsFile + "|" + std::to_string(o.connectRetries) + "|" +
                     std::to_string(o.lockWaitSeconds);
    }
    return (accepted ? Summary(o) : "refused") + "\n" + capture.Text();
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

// The five required options but `option`, then `extra`.
std::vector<std::string> Without(const std::string& option,
                                 const std::vector<std::string>& extra = {}) {
    std::vector<std::string> arguments = Args(extra);
    const auto at = std::find(arguments.begin(), arguments.end(), option);
    arguments.erase(at, at + 2);
    return arguments;
}

TEST(CommandLine, GivesTheRunOptionsOrRefusesWithItsMessage) {
    // A bare error-log name passes only when that file exists here.
    const std::string bareLog = "afp-existing-" + std::to_string(::getpid()) + ".log";
    WriteFile(bareLog, "\n");
    const std::string base = "audit.db|SQ||ann|secret|/tmp|";
    const struct {
        std::vector<std::string> arguments;
        std::string outcome;
    } cases[] = {
        {Args(), base + "||10|go|keep\n"},
        {{"-DbName", "Audit.DB", "-DBCONNECT", "LOCAL;SQ;", "-dbuser", "Ann", "-dbpass", "S3cret",
          "stray", "-AuditLocation", "/Tmp", "-DF", "Dump.sql"},
         "Audit.DB|SQ||Ann|S3cret|/Tmp|Dump.sql||10|go|keep\n"},
        {Args({"-nbrows", "70000"}), base + "||4464|go|keep\n"},  // narrowed to 16 bits
        {Args({"-nbrows", "abc"}), base + "||0|go|keep\n"},
        {Args({"-exitonerror", "1"}), base + "||10|stop|keep\n"},
        {Args({"-exitonerror", "yes"}), base + "||10|go|keep\n"},
        {Args({"-errorlog", "/tmp/afp-new.log"}), base + "|/tmp/afp-new.log|10|go|keep\n"},
        {Args({"-errorlog", bareLog}), base + "|" + bareLog + "|10|go|keep\n"},
        // The connect text starts at "LOCAL" + 9 whatever the type's length,
        // and its length follows the second ";".
        {Args({}, "LOCAL;OR;mydb"), "audit.db|OR|mydb|ann|secret|/tmp|||10|go|keep\n"},
        {Args({}, "LOCAL;PG;host=h user=%s"),
         "audit.db|PG|host=h user=%s|ann|secret|/tmp|||10|go|keep\n"},
        {Args({}, "xLOCAL;PG;db"), "audit.db|PG|db|ann|secret|/tmp|||10|go|keep\n"},
        {Args({}, "LOCAL;P;abcdef"), "audit.db|P;|bcdef|ann|secret|/tmp|||10|go|keep\n"},

        {{"-dbname", "a", "-dbuser"}, "refused\nAFP-0044:\nAFP-0039:\n"},
        {Without("-dbname"), "refused\nAFP-0014:\n"},
        {Without("-dbconnect"), "refused\nAFP-0015:\n"},
        {Without("-dbuser"), "refused\nAFP-0011:\n"},
        {Without("-dbpass"), "refused\nAFP-0017:\n"},
        {Without("-auditlocation"), "refused\nAFP-0013:\n"},
        {Args({"-VERBOSE"}), "refused\nAFP-0042: -verbose\n"},
        {Args({"-nbrows", "-5"}), "refused\nAFP-0043: -nbrows\n"},  // a minus starts an option
        {Args({"-df"}), "refused\nAFP-0043: -df\n"},
        {Args({}, "local;OR;mydb"), "refused\nAFP-0019:\n"},
        {Args({"-errorlog", "no-such-afp-error-log.txt"}), "refused\nAFP-0041:\n"},
        {Args({"-errorlog", "/no/such/directory/afp.log"}), "refused\nAFP-0041:\n"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.outcome, Parse(c.arguments));
    }
    std::remove(bareLog.c_str());
}

TEST(CommandLine, ShortConnectTextOrEmptyValueThrowsOutOfRange) {
    EXPECT_THROW(Parse(Args({}, "LOCAL;SQ")), std::out_of_range);
    EXPECT_THROW(Parse(Args({"-df", ""})), std::out_of_range);
}

TEST(CommandLine, ReadsTheOptionsOfScheduledRunsAndThePasswordFile) {
    ScratchDirectory directory;
    const auto passwordFile = [&](const std::string& name, const std::string& content,
                                  mode_t mode) {
        WriteFile(directory / name, content);
        ::chmod((directory / name).c_str(), mode);
        return directory / name;
    };
    const std::string privateFile = passwordFile("private", "from file\r\nsecond line", 0600);
    const std::string shared = passwordFile("shared", "pw\n", 0604);
    const std::string empty = passwordFile("empty", "\nlater\n", 0600);
    const std::string base = "audit.db|SQ||ann|";
    const struct {
        std::vector<std::string> arguments;
        std::string outcome;
        std::string scheduled;  // reject file, password file, exit status, reports, retries, wait
    } cases[] = {
        {Args(), base + "secret|/tmp|||10|go|keep\n", "||plain|||5|60"},
        {Args({"-RejectFile", "r.txt", "-exitstatus", "detailed", "-report", "run.json", "-metrics",
               "afp.prom", "-retries", "0", "-lockwait", "86400"}),
         base + "secret|/tmp|||10|go|keep\n", "r.txt||detailed|run.json|afp.prom|0|86400"},
        // The file's first line stands in for -dbpass, and wins over it.
        {Without("-dbpass", {"-passfile", privateFile}), base + "from file|/tmp|||10|go|keep\n",
         "|" + privateFile + "|plain|||5|60"},
        {Args({"-passfile", privateFile}), base + "from file|/tmp|||10|go|keep\n",
         "|" + privateFile + "|plain|||5|60"},
        {Args({"-passfile", shared}), "refused\nAFP-0060: " + shared + "\n", ""},
        {Args({"-passfile", empty}), "refused\nAFP-0059: " + empty + " its first line is empty\n",
         ""},
        {Args({"-passfile", directory / "none"}),
         "refused\nAFP-0059: " + directory / "none" + " No such file or directory\n", ""},
        {Args({"-passfile", directory.path()}),
         "refused\nAFP-0059: " + directory.path() + " Is a directory\n", ""},
        {Args({"-exitstatus", "Detailed"}), "refused\nAFP-0063: -exitstatus Detailed\n", ""},
        {Args({"-retries", "101"}), "refused\nAFP-0063: -retries 101\n", ""},
        {Args({"-retries", "3x"}), "refused\nAFP-0063: -retries 3x\n", ""},
        {Args({"-lockwait", "86401"}), "refused\nAFP-0063: -lockwait 86401\n", ""},
        {Args({"-lockwait", "99999999999999999999"}),
         "refused\nAFP-0063: -lockwait 99999999999999999999\n", ""},
        {Args({"-retries", "-1"}), "refused\nAFP-0043: -retries\n", ""},
        {Args({"-report"}), "refused\nAFP-0043: -report\n", ""},
    };
    for (const auto& c : cases) {
        std::string scheduled;
        EXPECT_EQ(c.outcome, Parse(c.arguments, &scheduled)) << c.arguments.back();
        EXPECT_EQ(c.scheduled, scheduled) << c.arguments.back();
    }
}

// Each test's configuration file is the one beside a program in a directory
// of its own.
class ConfigurationFile : public ::testing::Test {
  protected:
    void SetUp() override { g_pgm_dir = m_programDirectory.c_str(); }
    void TearDown() override { g_pgm_dir = m_previous; }
    void Load(const std::string& content, AFPOptions& options) {
        WriteFile(m_directory / "qxesafp.conf", content);
        options.LoadConfFileOptions();
    }

    ScratchDirectory m_directory;
    const std::string m_programDirectory = m_directory.path() + "/";
    const char* m_previous = g_pgm_dir;
};

TEST_F(ConfigurationFile, ReadsEachKeyAsWritten) {
    AFPOptions untouched;
    untouched.LoadConfFileOptions();
    EXPECT_EQ("||||||||10|go|keep", Summary(untouched));  // no file, no change

    const std::string empty = "|||||||";
    const struct {
        std::string content;
        std::string summary;
    } cases[] = {
        {"# settings\nDeleteAuditFiles=1\n  StopOnAllErrors  =  1  \nTransactionRowCount=250\n"
         "ErrorLogFileLocation=/var/log/audit\na line without an equals sign\n\n",
         empty + "/var/log/audit/qxesafp_errors.log|250|stop|delete"},
        {"TransactionRowCount=50", empty + "|10|go|keep"},  // no newline: dropped
        {"StopOnAllErrors=1\nTransactionRowCount=50", empty + "|10|stop|keep"},
        {"TransactionRowCount=0\n", empty + "|0|go|keep"},
        {"TransactionRowCount=many\n", empty + "|0|go|keep"},
        {"StopOnAllErrors=yes\n", empty + "|10|go|keep"},
        {"ErrorLogFileLocation=C:\\logs\\\n", empty + "C:/logs/qxesafp_errors.log|10|go|keep"},
        {std::string("TransactionRowCount=7\n\0TransactionRowCount=8\n", 46), empty + "|7|go|keep"},
        // 1,500 characters: a line of the first 1,024, the next one dropped,
        // and a line of the last 475 that sets the row count.
        {std::string(1024, '#') + "xTransactionRowCount=42" + std::string(475 - 22, ' ') + "\n",
         empty + "|42|go|keep"},
    };
    for (const auto& c : cases) {
        AFPOptions options;
        Load(c.content, options);
        EXPECT_EQ(c.summary, Summary(options)) << c.content.substr(0, 60);
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
        AFPOptions options;
        EXPECT_EQ(Thrown([&] { Load(c.content, options); }, true),
                  "KRL_ASSERT(FALSE); at auditfileprocessor/source/afpoptions:148")
            << c.content;
        EXPECT_EQ(options.transactionRowCount, c.rowCount) << c.content;
    }
}

TEST(SubstituteStrings, ReplacesTheFirstOccurrenceOfEachPlaceholderInOrder) {
    const struct {
        std::string text;
        std::vector<std::string> inserts;
        std::string expected;
    } cases[] = {
        {"file %0 at %1", {"a.log", "12"}, "file a.log at 12"},
        {"%0 and %0", {"x"}, "x and %0"},
        {"%1 before %0", {"zero", "one"}, "one before zero"},
        {"no placeholder", {"x"}, "no placeholder"},
        {"%0", {"%1"}, "%1"},            // an insert is not searched again for its own number...
        {"%0 %1", {"%1", "y"}, "y %1"},  // ...but a later insert's search may find it
        {"100%0", {"%"}, "100%"},
    };
    for (const auto& c : cases) {
        std::string text = c.text;
        SubstituteStrings(text, c.inserts);
        EXPECT_EQ(c.expected, text) << c.text;
    }
}

TEST(Messenger, ErrorLogHasOneBannerPerAuditFileWithMessagesAndIsAppended) {
    MessageCapture capture;
    const std::string stars(47, '*');
    Messenger::Get().DisplayMessage(26, "I\tline", "/audit/qxes_audit_1.log");
    for (const char* file : {"/audit/a.log", "/audit/quiet.log", "/audit/b.log"}) {
        Messenger::m_sAuditLogFileName = file;
        Messenger::m_isParsingNewLog = true;
        if (file != std::string("/audit/quiet.log")) {
            Messenger::Get().DisplayMessage(std::string("in ") + file);
        }
    }
    std::fclose(Messenger::m_fpErrorLogFile);  // the next message reopens it
    Messenger::m_fpErrorLogFile = nullptr;
    Messenger::Get().DisplayMessage("again");
    EXPECT_EQ("AFP-0026: I\tline /audit/qxes_audit_1.log\n" + stars +
                  "\n* /audit/a.log\nin /audit/a.log\n" + stars +
                  "\n* /audit/b.log\nin /audit/b.log\nagain\n",
              capture.Text());
}

}  // namespace

TEST(PasswordMask, MasksEveryPasswordOfAConnectionTextAndOfTheArguments) {
    const struct {
        std::string text, masked;
    } cases[] = {
        {"host=h user=%s password=%s", "host=h user=%s password=%s"},
        {"password = 'a \\' b' host=h", "password = ******** host=h"},
        {"passfile=/p password=s\\ x  port=1", "passfile=/p password=********  port=1"},
        {"LOCAL;PG;postgresql://ann:s%40@h:1/db?password=q&sslmode=require",
         "LOCAL;PG;postgresql://ann:********@h:1/db?password=********&sslmode=require"},
        {"postgres://ann@h/db?x=password=1", "postgres://ann@h/db?x=password=1"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(PasswordMask::Masked(c.text), c.masked) << c.text;
    }
    std::vector<std::string> arguments = {
        "afp", "-DBPASS", "s3cret", "-dbuser", "ann", "-dbconnect", "LOCAL;PG;password=pw"};
    std::vector<char*> argv;
    for (std::string& argument : arguments) {
        argv.push_back(argument.data());
    }
    HidePasswordArguments(static_cast<int>(argv.size()), argv.data());
    EXPECT_EQ(arguments[2] + arguments[4] + arguments[6], "xxxxxxannLOCAL;PG;password=xx");
}
