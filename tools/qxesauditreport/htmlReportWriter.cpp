#include "htmlReportWriter.h"

#include <map>
#include <utility>

#include "markupText.h"
#include "reportFormat.h"
#include "svgChart.h"

namespace {

// At most this many start-ups are listed one by one; the chart shows them all.
const size_t kListedStartups = 20;

const char kStyle[] =
    "body{font-family:sans-serif;color:#1d2733;margin:24px auto;max-width:800px;"
    "padding:0 16px;background:#fff}"
    "h1{font-size:24px;margin-bottom:4px}h2{font-size:19px;margin-top:32px;"
    "border-bottom:1px solid #d8dde3;padding-bottom:4px}"
    ".meta{color:#4a5563;margin-top:0}"
    ".cards{display:flex;flex-wrap:wrap;gap:12px}"
    ".card{border:1px solid #d8dde3;border-radius:6px;padding:8px 14px;min-width:130px}"
    ".card b{display:block;font-size:20px}"
    "figure{margin:16px 0}svg.chart{max-width:100%;height:auto}"
    "table{border-collapse:collapse;font-size:13px;margin:8px 0}"
    "th,td{border-bottom:1px solid #e4e8ec;padding:4px 10px;text-align:left}"
    "td.n,th.n{text-align:right}";

std::string Cell(const std::string& text, bool number = false) {
    return std::string(number ? "<td class=\"n\">" : "<td>") + MarkupText::escape(text) + "</td>";
}

std::string Figure(const std::string& svg) {
    return "<figure>\n" + svg + "</figure>\n";
}

std::vector<SvgChart::Point> Ranked(const std::vector<UsageReport::Count>& counts,
                                    bool withFailures) {
    std::vector<SvgChart::Point> points;
    points.reserve(counts.size());
    for (const UsageReport::Count& count : counts) {
        points.push_back({count.name, static_cast<double>(count.count),
                          withFailures ? static_cast<double>(count.failures) : 0});
    }
    return points;
}

std::vector<SvgChart::Point> Slots(const std::vector<UsageReport::Slot>& slots) {
    std::vector<SvgChart::Point> points;
    points.reserve(slots.size());
    for (const UsageReport::Slot& slot : slots) {
        points.push_back(
            {slot.label, static_cast<double>(slot.requests), static_cast<double>(slot.failures)});
    }
    return points;
}

}  // namespace

const std::vector<std::string> HtmlReportWriter::kChartIds = {
    "requests-per-day", "failure-rate", "requests-per-hour", "duration-percentiles",
    "top-users",        "user-classes", "data-sources",      "dimensions",
    "levels",           "measures",     "admin-actions",     "server-startups"};

HtmlReportWriter::HtmlReportWriter(const UsageReport& report, std::string database,
                                   std::string writtenAt)
    : m_report(report), m_database(std::move(database)), m_writtenAt(std::move(writtenAt)) {}

std::string HtmlReportWriter::page() const {
    return std::string("<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n") +
           "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
           "style-src 'unsafe-inline'\">\n"
           "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
           "<title>Audit usage report</title>\n<style>" +
           kStyle + "</style>\n</head>\n<body>\n<h1>Audit usage report</h1>\n<p class=\"meta\">" +
           MarkupText::escape(m_database) + " &middot; " +
           MarkupText::escape(ReportFormat::period(m_report)) + " &middot; written " +
           MarkupText::escape(m_writtenAt) + "</p>\n" + summary() + activity() + durations() +
           people() + usage() + administration() + "</body>\n</html>\n";
}

std::string HtmlReportWriter::summary() const {
    const UsageReport::Totals& totals = m_report.totals;
    auto card = [](const std::string& name, const std::string& value) {
        return "<div class=\"card\">" + MarkupText::escape(name) + "<b>" +
               MarkupText::escape(value) + "</b></div>\n";
    };
    std::string html =
        "<div class=\"cards\">\n" + card("Requests", ReportFormat::count(totals.requests)) +
        card("Failures", ReportFormat::count(totals.failures)) +
        card("Failure rate", ReportFormat::percent(totals.failures, totals.requests)) +
        card("Sessions", ReportFormat::count(totals.sessions)) +
        card("Users", ReportFormat::count(totals.users)) +
        card("Server start-ups", ReportFormat::count(m_report.startups.size())) + "</div>\n";
    if (totals.requests > 0) {
        html += "<p>First request " + MarkupText::escape(totals.first) + ", last request " +
                MarkupText::escape(totals.last) + ".</p>\n";
    }
    return html;
}

std::string HtmlReportWriter::activity() const {
    std::vector<SvgChart::Point> rates;
    std::string table =
        "<table class=\"days\">\n<tr><th>Day</th><th class=\"n\">Requests</th>"
        "<th class=\"n\">Failures</th><th class=\"n\">Median duration</th></tr>\n";
    for (const UsageReport::Slot& day : m_report.days) {
        rates.push_back({day.label, ReportFormat::share(day.failures, day.requests)});
        table += "<tr>" + Cell(day.label) + Cell(ReportFormat::count(day.requests), true) +
                 Cell(ReportFormat::count(day.failures), true) +
                 Cell(day.timed > 0 ? ReportFormat::duration(day.medianMilliseconds) : "-", true) +
                 "</tr>\n";
    }
    table += "</table>\n";
    return "<h2>Activity</h2>\n" +
           Figure(SvgChart("requests-per-day", "Requests per day", "", "failures")
                      .columns(Slots(m_report.days))) +
           table + Figure(SvgChart("failure-rate", "Failure rate per day", "%").line(rates)) +
           Figure(SvgChart("requests-per-hour", "Requests per hour of the day", "", "failures")
                      .columns(Slots(m_report.hours)));
}

std::string HtmlReportWriter::durations() const {
    std::vector<SvgChart::Point> points;
    for (const UsageReport::Percentile& percentile : m_report.percentiles) {
        points.push_back(
            {ReportFormat::rank(percentile.rank), static_cast<double>(percentile.milliseconds)});
    }
    std::string slowest =
        "<h3>Slowest requests</h3>\n<table>\n<tr><th>Started</th><th>User</th>"
        "<th>Session / request</th><th>Outcome</th><th class=\"n\">Duration</th></tr>\n";
    for (const UsageReport::SlowRequest& request : m_report.slowest) {
        slowest += "<tr>" + Cell(request.start) + Cell(request.user) +
                   Cell(request.sessionId + " / " + request.requestId) + Cell(request.outcome) +
                   Cell(ReportFormat::duration(request.milliseconds), true) + "</tr>\n";
    }
    slowest += "</table>\n";
    return "<h2>Durations</h2>\n<p>Web and remote requests that have ended: " +
           ReportFormat::count(m_report.timedRequests) + ".</p>\n" +
           Figure(SvgChart("duration-percentiles", "Request duration percentiles", " ms")
                      .bars(points)) +
           slowest;
}

std::string HtmlReportWriter::people() const {
    return "<h2>Users</h2>\n<p>Requests per user and per user class, failures in red.</p>\n" +
           Figure(SvgChart("top-users", "Top users").bars(Ranked(m_report.topUsers, true))) +
           Figure(SvgChart("user-classes", "Top user classes")
                      .bars(Ranked(m_report.userClasses, true)));
}

std::string HtmlReportWriter::usage() const {
    return "<h2>Data</h2>\n<p>Data sources by the sessions that opened them; dimensions, "
           "levels and measures by the requests that used them.</p>\n" +
           Figure(SvgChart("data-sources", "Top data sources (sessions)")
                      .bars(Ranked(m_report.dataSources, false))) +
           Figure(
               SvgChart("dimensions", "Top dimensions").bars(Ranked(m_report.dimensions, false))) +
           Figure(SvgChart("levels", "Top levels").bars(Ranked(m_report.levels, false))) +
           Figure(SvgChart("measures", "Top measures").bars(Ranked(m_report.measures, false)));
}

std::string HtmlReportWriter::administration() const {
    std::map<std::string, int64_t> perDay;
    for (const UsageReport::Startup& startup : m_report.startups) {
        ++perDay[startup.start.substr(0, 10)];
    }
    std::vector<SvgChart::Point> days;
    days.reserve(perDay.size());
    for (const auto& day : perDay) {
        days.push_back({day.first, static_cast<double>(day.second)});
    }
    std::string list =
        "<table>\n<tr><th>Started</th><th>Machine</th><th class=\"n\">Port</th>"
        "<th>Version</th></tr>\n";
    const size_t first =
        m_report.startups.size() > kListedStartups ? m_report.startups.size() - kListedStartups : 0;
    for (size_t i = first; i < m_report.startups.size(); ++i) {
        const UsageReport::Startup& startup = m_report.startups[i];
        list += "<tr>" + Cell(startup.start) + Cell(startup.machine) +
                Cell(std::to_string(startup.port), true) + Cell(startup.version) + "</tr>\n";
    }
    list += "</table>\n";
    return "<h2>Administration</h2>\n" +
           Figure(SvgChart("admin-actions", "Administration actions", "", "failures")
                      .bars(Ranked(m_report.adminActions, true))) +
           Figure(SvgChart("server-startups", "Server start-ups per day").columns(days)) +
           (first > 0 ? "<p>The last " + std::to_string(kListedStartups) + " start-ups:</p>\n"
                      : std::string()) +
           list;
}
