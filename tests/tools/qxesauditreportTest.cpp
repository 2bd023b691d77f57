// The usage report: its figures against the same questions asked in SQL
// directly, on the base tables rather than the views, on both backends and for
// open and closed periods; and the program as a user runs it with a password
// file, its page rendered by headless Chromium with no console message and
// every chart drawn, and its command line refusing what it cannot honour.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <map>
#include <regex>
#include <string>
#include <vector>

#include "auditFiles.h"
#include "htmlReportWriter.h"
#include "reportQueries.h"

namespace {

using auditFiles::Generate;
using auditFiles::RunLoader;

struct Direct {
    int64_t count = 0, failures = 0;
};
using DirectCounts = std::map<std::string, Direct>;

class ReportFigures : public ::testing::TestWithParam<TestBackend> {
  protected:
    void SetUp() override {
        AFP_REQUIRE_DATABASE(m_database);
        // Two simulated servers a day apart, so that the period cuts between days.
        for (unsigned seed : {1u, 2u}) {
            ScratchDirectory audit;
            ASSERT_EQ(0, Generate(audit.path(), seed, 2, 1500, seed == 1 ? "A" : "B").exitStatus);
            ASSERT_EQ(0, RunLoader(m_database, audit.path(), 200).exitStatus);
        }
    }

    bool sqlite() const { return GetParam() == TestBackend::kSQLite; }
    std::string literal(const std::string& time) const {
        return (sqlite() ? "'" : "TIMESTAMP '") + time + "'";
    }
    std::string period(const std::string& column) const {
        return (m_since.empty() ? "" : " AND " + column + " >= " + literal(m_since)) +
               (m_until.empty() ? "" : " AND " + column + " < " + literal(m_until));
    }
    std::string requests() const {
        return " FROM QXES_REQUEST r LEFT JOIN QXES_SESSION s ON s.SESSION_ID = r.SESSION_ID"
               " WHERE 1 = 1" +
               period("r.START_DATE_TIME");
    }
    std::string duration() const {
        return sqlite() ? "((strftime('%s', r.END_DATE_TIME) - strftime('%s', r.START_DATE_TIME))"
                          " * 1000 + CAST(substr(r.END_DATE_TIME, 21) AS INTEGER)"
                          " - CAST(substr(r.START_DATE_TIME, 21) AS INTEGER))"
                        : "CAST(ROUND((EXTRACT(EPOCH FROM r.END_DATE_TIME)"
                          " - EXTRACT(EPOCH FROM r.START_DATE_TIME)) * 1000) AS BIGINT)";
    }
    DirectCounts direct(const std::string& sql) {
        DirectCounts counts;
        for (const auto& row : m_database.query(sql)) {
            counts[row.at(0)] = {std::stoll(row.at(1)), std::stoll(row.at(2))};
        }
        return counts;
    }
    // A top list holds the biggest counts, in order, each equal to the direct one.
    void expectTop(const char* what, const std::vector<UsageReport::Count>& top,
                   const DirectCounts& all) {
        SCOPED_TRACE(what);
        ASSERT_EQ(std::min<size_t>(all.size(), ReportQueries::kTopCount), top.size());
        for (size_t i = 0; i < top.size(); ++i) {
            ASSERT_EQ(1u, all.count(top[i].name)) << top[i].name;
            EXPECT_EQ(all.at(top[i].name).count, top[i].count) << top[i].name;
            EXPECT_EQ(all.at(top[i].name).failures, top[i].failures) << top[i].name;
            if (i > 0) {
                EXPECT_LE(top[i].count, top[i - 1].count);
            }
        }
        for (const auto& entry : all) {
            EXPECT_TRUE(entry.second.count <= top.back().count ||
                        std::any_of(top.begin(), top.end(),
                                    [&](const auto& c) { return c.name == entry.first; }))
                << entry.first << " left out";
        }
    }

    TestDatabase m_database{GetParam()};
    std::string m_since, m_until;
};

TEST_P(ReportFigures, EqualTheSameQuestionsAskedInSql) {
    const std::string day =
        sqlite() ? "substr(r.START_DATE_TIME, 1, 10)" : "to_char(r.START_DATE_TIME, 'YYYY-MM-DD')";
    const std::string hour = sqlite() ? "CAST(substr(r.START_DATE_TIME, 12, 2) AS INTEGER)"
                                      : "CAST(EXTRACT(HOUR FROM r.START_DATE_TIME) AS INTEGER)";
    const std::string failed = "SUM(CASE WHEN r.REQUEST_STATUS = 0 THEN 1 ELSE 0 END)";
    const Rows days =
        m_database.query("SELECT DISTINCT " + day + " FROM QXES_REQUEST r ORDER BY 1");
    ASSERT_EQ(2u, days.size());
    const std::string middle =
        m_database
            .query("SELECT MIN(START_DATE_TIME) FROM QXES_REQUEST WHERE START_DATE_TIME > " +
                   literal(days[1][0] + " 00:00:00"))
            .at(0)
            .at(0)
            .substr(0, 19);
    const std::string secondDay = days[1][0] + " 00:00:00";
    const struct {
        std::string since, until;
    } periods[] = {{"", ""}, {secondDay, ""}, {"", secondDay}, {middle, days[1][0] + " 23:00:00"}};

    for (const auto& p : periods) {
        SCOPED_TRACE("since '" + p.since + "' until '" + p.until + "'");
        m_since = p.since;
        m_until = p.until;
        const UsageReport report = ReportQueries(m_database.db(), m_since, m_until).read();

        const auto totals = m_database
                                .query("SELECT COUNT(*), " + failed +
                                       ", COUNT(DISTINCT r.SESSION_ID), "
                                       "COUNT(DISTINCT s.USER_NAME)" +
                                       requests())
                                .at(0);
        ASSERT_GT(std::stoll(totals[0]), 100);
        EXPECT_EQ(std::stoll(totals[0]), report.totals.requests);
        EXPECT_EQ(std::stoll(totals[1]), report.totals.failures);
        EXPECT_EQ(std::stoll(totals[2]), report.totals.sessions);
        EXPECT_EQ(std::stoll(totals[3]), report.totals.users);

        Rows perDay;
        for (const auto& slot : report.days) {
            perDay.push_back(
                {slot.label, std::to_string(slot.requests), std::to_string(slot.failures)});
        }
        EXPECT_EQ(m_database.query("SELECT " + day + ", COUNT(*), " + failed + requests() +
                                   " GROUP BY 1 ORDER BY 1"),
                  perDay);
        const DirectCounts perHour =
            direct("SELECT " + hour + ", COUNT(*), " + failed + requests() + " GROUP BY 1");
        ASSERT_EQ(24u, report.hours.size());
        for (int h = 0; h < 24; ++h) {
            const auto found = perHour.find(std::to_string(h));
            const Direct expected = found == perHour.end() ? Direct{} : found->second;
            EXPECT_EQ(expected.count, report.hours[h].requests) << "hour " << h;
            EXPECT_EQ(expected.failures, report.hours[h].failures) << "hour " << h;
        }

        // Durations: nearest rank among ended web and remote requests.
        const std::string timed = " AND r.END_DATE_TIME IS NOT NULL AND r.REQUEST_TYPE IN (0, 1)";
        const long long n =
            std::stoll(m_database.query("SELECT COUNT(*)" + requests() + timed).at(0).at(0));
        ASSERT_GT(n, 0);
        EXPECT_EQ(n, report.timedRequests);
        ASSERT_EQ(ReportQueries::kPercentileRanks.size(), report.percentiles.size());
        for (const UsageReport::Percentile& percentile : report.percentiles) {
            const long long offset = (percentile.rank * n + 99) / 100 - 1;
            EXPECT_EQ(m_database
                          .query("SELECT " + duration() + requests() + timed +
                                 " ORDER BY 1 LIMIT 1 OFFSET " + std::to_string(offset))
                          .at(0)
                          .at(0),
                      std::to_string(percentile.milliseconds))
                << "rank " << percentile.rank;
        }
        for (const UsageReport::Slot& slot : report.days) {
            const std::string ofDay = timed + " AND " + day + " = '" + slot.label + "'";
            EXPECT_EQ(m_database.query("SELECT COUNT(*)" + requests() + ofDay),
                      Rows({{std::to_string(slot.timed)}}));
            EXPECT_EQ(m_database.query("SELECT " + duration() + requests() + ofDay +
                                       " ORDER BY 1 LIMIT 1 OFFSET " +
                                       std::to_string((slot.timed + 1) / 2 - 1)),
                      Rows({{std::to_string(slot.medianMilliseconds)}}));
        }
        // Start times with three decimals whatever the backend keeps.
        const std::string started = sqlite()
                                        ? "strftime('%Y-%m-%d %H:%M:%f', r.START_DATE_TIME)"
                                        : "to_char(r.START_DATE_TIME, 'YYYY-MM-DD HH24:MI:SS.MS')";
        Rows slowest;
        for (const auto& request : report.slowest) {
            slowest.push_back({request.sessionId, request.requestId, request.start,
                               std::to_string(request.milliseconds)});
        }
        EXPECT_EQ(
            m_database.query("SELECT r.SESSION_ID, r.REQUEST_ID, " + started + ", " + duration() +
                             requests() + timed + " ORDER BY 4 DESC, 1, 2 LIMIT 10"),
            slowest);

        expectTop("users", report.topUsers,
                  direct("SELECT COALESCE(s.USER_NAME, '(none)'), COUNT(*), " + failed +
                         requests() + " GROUP BY s.USER_NAME"));
        expectTop("user classes", report.userClasses,
                  direct("SELECT r.USER_CLASS, COUNT(*), " + failed + requests() +
                         " AND r.USER_CLASS IS NOT NULL GROUP BY r.USER_CLASS"));
        expectTop("administration actions", report.adminActions,
                  direct("SELECT r.ACTION, COUNT(*), " + failed + requests() +
                         " AND r.REQUEST_TYPE = 2 GROUP BY r.ACTION"));
        DirectCounts sources = direct(
            "SELECT SOURCE_NAME, COUNT(DISTINCT SESSION_ID), 0 FROM QXES_USER_SOURCE"
            " WHERE SESSION_ID IN (SELECT r.SESSION_ID" +
            requests() + ") GROUP BY SOURCE_NAME");
        sources[ReportQueries::kRemoteSources] = sources.at("-");  // the loader's name for them
        sources.erase("-");
        expectTop("data sources", report.dataSources, sources);
        const struct {
            const char *what, *table, *name, *code;
            const std::vector<UsageReport::Count>& top;
        } usages[] = {
            {"dimensions", "QXES_DIM_USAGE", "DIM_NAME", "DIM_CODE", report.dimensions},
            {"levels", "QXES_LEVEL_USAGE", "LEVEL_NAME", "LEVEL_CODE", report.levels},
            {"measures", "QXES_MEASURE_USAGE", "MEASURE_NAME", "MEASURE_CODE", report.measures}};
        for (const auto& usage : usages) {
            const std::string name =
                std::string("COALESCE(u.") + usage.name + ", u." + usage.code + ")";
            expectTop(usage.what, usage.top,
                      direct("SELECT " + name + ", COUNT(*), 0 FROM " + usage.table +
                             " u WHERE EXISTS (SELECT 1" + requests() +
                             " AND r.SESSION_ID = u.SESSION_ID AND r.REQUEST_ID = u.REQUEST_ID)"
                             " GROUP BY " +
                             name));
        }
        EXPECT_EQ(std::to_string(report.startups.size()),
                  m_database
                      .query("SELECT COUNT(*) FROM QXES_DISPATCHER d WHERE 1 = 1" +
                             period("d.SERVER_START_DATE_TIME"))
                      .at(0)
                      .at(0));
    }
}

AFP_ON_BOTH_BACKENDS(ReportFigures);

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

class ReportPage : public ::testing::TestWithParam<TestBackend> {};

TEST_P(ReportPage, RendersInChromiumWithEveryChartAndNoConsoleMessage) {
    if (::access(kChromium, X_OK) != 0) {
        GTEST_SKIP() << kChromium << " is not installed (scripts/setup.sh installs it)";
    }
    TestDatabase database(GetParam());
    AFP_REQUIRE_DATABASE(database);
    ScratchDirectory audit, output, profile;
    ASSERT_EQ(0, RunProcess({AFP_AUDITGEN, "--output", audit.path(), "--seed", "3", "--files", "2",
                             "--lines", "1500", "--days", "3"})
                     .exitStatus);
    ASSERT_EQ(0, RunLoader(database, audit.path(), 200).exitStatus);
    const std::string page = output / "report.html", passwordFile = output / "db.pass";
    WriteFile(passwordFile, database.dbPassword() + "\n");
    ASSERT_EQ(0, ::chmod(passwordFile.c_str(), 0600));
    // The password from the file alone.
    std::vector<std::string> command =
        ReportCommand(database, {"-output", page, "-TEXT", output / "report.txt"});
    std::replace(command.begin(), command.end(), std::string("-dbpass"), std::string("-passfile"));
    *(std::find(command.begin(), command.end(), "-passfile") + 1) = passwordFile;
    const ProcessResult report = RunProcess(command);
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
    // Three working days, each a row of its table; each figure shown once;
    // every time in a table with three decimals; remote sources named.
    const size_t days = dom.find("<table class=\"days\">");
    ASSERT_NE(std::string::npos, days);
    EXPECT_EQ(4u, auditFiles::Count(dom.substr(days, dom.find("</table>", days) - days), "<tr>"));
    EXPECT_EQ(1u, auditFiles::Count(dom, ">50th<"));
    EXPECT_FALSE(std::regex_search(
        dom,
        std::regex("<td>\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d(\\.\\d{0,2}|\\.\\d{4,})?<")));
    EXPECT_NE(std::string::npos, dom.find(ReportQueries::kRemoteSources));
}

AFP_ON_BOTH_BACKENDS(ReportPage);

TEST(ReportCommandLine, RefusesWhatItCannotHonour) {
    TestDatabase database;
    AFP_REQUIRE_DATABASE(database);
    ScratchDirectory output;
    const std::string shared = output / "shared.pass";
    WriteFile(shared, database.dbPassword() + "\n");
    ASSERT_EQ(0, ::chmod(shared.c_str(), 0644));
    const struct {
        std::vector<std::string> extra;
        int exitStatus;
        const char* says;
    } cases[] = {
        {{}, 2, "nothing to write"},
        // The file wins over -dbpass, so it is checked even then.
        {{"-text", "-", "-passfile", shared}, 2, "AFP-0060"},
        {{"-text", "-", "-passfile", output / "missing.pass"}, 2, "AFP-0059"},
        {{"--text", "-", "--since", "2011-02-29"}, 2, "is no date"},
        {{"--text", "-", "--until", "2011-03-04 24:00:00"}, 2, "is no date"},
        {{"--text", "-", "-since", "2011-03-05", "--until", "2011-03-04"}, 2, "before -until"},
        {{"--text", "-", "-Text", "x"}, 2, "given twice"},
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
