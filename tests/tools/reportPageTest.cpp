// The report program as a user runs it: its page rendered by headless
// Chromium with no console message and every chart drawn, and its command
// line refusing what it cannot honour.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "auditFiles.h"
#include "htmlReportWriter.h"

namespace {

const char kChromium[] = "/usr/bin/chromium";

std::vector<std::string> ReportCommand(const TestDatabase& database,
                                       const std::vector<std::string>& extra) {
    std::vector<std::string> command = {
        AFP_REPORT,           "-dbname", database.dbName(), "-dbconnect",
        database.dbConnect(), "-dbuser", database.dbUser(), "-dbpass",
        database.dbPassword()};
    command.insert(command.end(), extra.begin(), extra.end());
    return command;
}

TEST(ReportPage, RendersInChromiumWithEveryChartAndNoConsoleMessage) {
    if (::access(kChromium, X_OK) != 0) {
        GTEST_SKIP() << kChromium << " is not installed (scripts/setup.sh installs it)";
    }
    TestDatabase database;
    AFP_REQUIRE_DATABASE(database);
    ScratchDirectory audit, output, profile;
    ASSERT_EQ(0, auditFiles::Generate(audit.path(), 3, 2, 1500).exitStatus);
    ASSERT_EQ(0, auditFiles::RunLoader(database, audit.path(), 200).exitStatus);
    const std::string page = output / "report.html";
    const ProcessResult report =
        RunProcess(ReportCommand(database, {"--output", page, "--text", output / "report.txt"}));
    ASSERT_EQ(0, report.exitStatus) << report.err;
    EXPECT_NE(ReadFile(output / "report.txt").find("Requests:  "), std::string::npos);

    const ProcessResult browser = RunProcess(
        {"timeout", "60", kChromium, "--headless", "--no-sandbox", "--disable-gpu",
         "--disable-quic", "--no-first-run", "--disable-background-networking",
         "--disable-component-update", "--disable-sync", "--user-data-dir=" + profile.path(),
         "--enable-logging=stderr", "--v=0", "--dump-dom", "file://" + page});
    ASSERT_EQ(0, browser.exitStatus) << browser.err;
    // The page's policy forbids every fetch: any attempt, like any script
    // error, would show up here as a console message.
    EXPECT_EQ(std::string::npos, browser.err.find(":CONSOLE")) << browser.err;

    const std::string& dom = browser.out;
    EXPECT_EQ(HtmlReportWriter::kChartIds.size(), auditFiles::Count(dom, "<svg"));
    for (const std::string& id : HtmlReportWriter::kChartIds) {
        const size_t start = dom.find("data-chart=\"" + id + "\"");
        ASSERT_NE(std::string::npos, start) << id << " missing";
        const std::string chart = dom.substr(start, dom.find("</svg>", start) - start);
        // Every section has data here, so every chart has marks, not the empty note.
        EXPECT_TRUE(chart.find("<rect") != std::string::npos ||
                    chart.find("<path") != std::string::npos)
            << id << " has no marks";
        EXPECT_EQ(std::string::npos, chart.find("No data")) << id;
    }
}

TEST(ReportPage, RefusesWhatItCannotHonour) {
    TestDatabase database;
    AFP_REQUIRE_DATABASE(database);
    ScratchDirectory output;
    const struct {
        std::vector<std::string> extra;
        int exitStatus;
        const char* says;
    } cases[] = {
        {{}, 2, "nothing to write"},
        {{"--text", "-", "--since", "2011-02-29"}, 2, "is no date"},
        {{"--text", "-", "--until", "2011-03-04 24:00:00"}, 2, "is no date"},
        {{"--text", "-", "--since", "2011-03-05", "--until", "2011-03-04"}, 2, "before --until"},
        {{"--text", "-", "--text", "x"}, 2, "given twice"},
        {{"--text", "-", "--colour"}, 2, "unknown option"},
        {{"--output", output / "missing/report.html"}, 1, "cannot write"},
        // A database made before the views existed.
        {{"--text", "-"}, 1, "run the schema file again"},
    };
    for (const auto& c : cases) {
        if (std::string(c.says) == "run the schema file again") {
            database.exec(
                "DROP VIEW QXES_SOURCE_DAILY; DROP VIEW QXES_USER_DAILY;"
                " DROP VIEW QXES_REQUEST_FACTS");
        }
        const ProcessResult result = RunProcess(ReportCommand(database, c.extra));
        EXPECT_EQ(c.exitStatus, result.exitStatus) << c.says;
        EXPECT_NE(std::string::npos, result.err.find(c.says)) << result.err;
    }
    const std::vector<std::string> badType = {AFP_REPORT,  "-dbname", "x", "-dbconnect",
                                              "LOCAL;OR;", "-dbuser", "u", "-dbpass",
                                              "p",         "--text",  "-"};
    EXPECT_EQ(2, RunProcess(badType).exitStatus);
}

}  // namespace
