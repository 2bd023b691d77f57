#include "afpOptions.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <string>

#include "krlAssertError.h"
#include "programGlobals.h"

namespace {

class ConfigurationFile : public ::testing::Test {
  protected:
    void SetUp() override {
        char directory[] = "/tmp/afp-conf-XXXXXX";
        ASSERT_NE(::mkdtemp(directory), nullptr);
        m_directory = std::string(directory) + "/";
    }
    void TearDown() override {
        std::remove(Path().c_str());
        ::rmdir(m_directory.c_str());
    }

    std::string Path() const { return m_directory + "qxesafp.conf"; }

    AFPOptions Load(const std::string& content) {
        std::ofstream(Path(), std::ios::binary) << content;
        AFPOptions options;
        options.LoadConfFileOptions(Path());
        return options;
    }

    std::string m_directory;
};

TEST_F(ConfigurationFile, ReadsEveryKey) {
    const AFPOptions options = Load(
        "# settings\n"
        "DeleteAuditFiles=1\n"
        "  StopOnAllErrors  =  1  \n"
        "TransactionRowCount=250\n"
        "ErrorLogFileLocation=/var/log/audit\n"
        "a line without an equals sign\n"
        "\n");
    EXPECT_TRUE(options.deleteAuditFiles);
    EXPECT_TRUE(options.stopOnAllErrors);
    EXPECT_EQ(options.transactionRowCount, 250);
    EXPECT_EQ(options.errorLogFile, "/var/log/audit/qxesafp_errors.log");
}

TEST_F(ConfigurationFile, LastLineWithoutNewlineIsDropped) {
    EXPECT_EQ(Load("TransactionRowCount=50").transactionRowCount, 10);
    EXPECT_EQ(Load("StopOnAllErrors=1\nTransactionRowCount=50").transactionRowCount, 10);
}

TEST_F(ConfigurationFile, ValuesAreReadAsDecimalWithoutChecks) {
    EXPECT_EQ(Load("TransactionRowCount=0\n").transactionRowCount, 0);
    EXPECT_EQ(Load("TransactionRowCount=many\n").transactionRowCount, 0);
    EXPECT_FALSE(Load("StopOnAllErrors=yes\n").stopOnAllErrors);
    EXPECT_EQ(Load("ErrorLogFileLocation=C:\\logs\\\n").errorLogFile, "C:/logs/qxesafp_errors.log");
}

TEST_F(ConfigurationFile, ReadingStopsAtTheFirstNulByte) {
    EXPECT_EQ(Load(std::string("TransactionRowCount=7\n\0TransactionRowCount=8\n", 46))
                  .transactionRowCount,
              7);
}

TEST_F(ConfigurationFile, UnknownKeysAreAssertions) {
    const char* const lines[] = {
        "stoponallerrors=1\n",    // keys are case-sensitive
        "StopOnAllErrors\t=1\n",  // only blanks are trimmed
        " # not a comment=1\n",   // a comment starts in the first column
        "=1\n",
    };
    for (const char* line : lines) {
        try {
            Load(line);
            ADD_FAILURE() << "no assertion for " << line;
        } catch (const KRLAssertError& error) {
            EXPECT_EQ(error.getErrorCodeMessage(), "KRL_ASSERT(FALSE);");
            EXPECT_EQ(error.getBackTrace().at(0).line, 148);
        }
    }
}

TEST_F(ConfigurationFile, EarlierLinesStayAppliedWhenALaterKeyIsUnknown) {
    std::ofstream(Path()) << "TransactionRowCount=3\nNoSuchKey=1\n";
    AFPOptions options;
    EXPECT_THROW(options.LoadConfFileOptions(Path()), KRLAssertError);
    EXPECT_EQ(options.transactionRowCount, 3);
}

TEST_F(ConfigurationFile, LongLinesAreCutAt1024Characters) {
    // 1,500 characters: a line of the first 1,024, the next one dropped, and a
    // line of the last 475 that sets the row count.
    const std::string line =
        std::string(1024, '#') + "x" + "TransactionRowCount=42" + std::string(475 - 22, ' ') + "\n";
    ASSERT_EQ(line.size(), 1501u);
    EXPECT_EQ(Load(line).transactionRowCount, 42);
}

TEST_F(ConfigurationFile, MissingFileLeavesEverythingAsItIs) {
    AFPOptions options;
    options.LoadConfFileOptions(m_directory + "absent.conf");
    EXPECT_EQ(options.transactionRowCount, 10);
    EXPECT_EQ(options.errorLogFile, "");
}

TEST_F(ConfigurationFile, TheRunsFileLivesInTheProgramDirectory) {
    std::ofstream(Path()) << "TransactionRowCount=77\n";
    const char* previous = g_pgm_dir;
    g_pgm_dir = m_directory.c_str();
    AFPOptions options;
    options.LoadConfFileOptions();
    g_pgm_dir = previous;
    EXPECT_EQ(options.transactionRowCount, 77);
}

}  // namespace
