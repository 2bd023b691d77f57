#include "textReportWriter.h"

#include <cstdio>
#include <utility>

#include "markupText.h"
#include "reportFormat.h"

namespace {

// `text` padded with spaces to `width` characters (UTF-8 characters, not bytes).
std::string Pad(const std::string& text, size_t width, bool right = false) {
    size_t characters = 0;
    for (char c : text) {
        characters += (static_cast<unsigned char>(c) & 0xC0) != 0x80;
    }
    const std::string fill(characters < width ? width - characters : 0, ' ');
    return right ? fill + text : text + fill;
}

}  // namespace

TextReportWriter::TextReportWriter(const UsageReport& report, std::string database,
                                   std::string writtenAt)
    : m_report(report), m_database(std::move(database)), m_writtenAt(std::move(writtenAt)) {}

std::string TextReportWriter::list(const std::string& title,
                                   const std::vector<UsageReport::Count>& counts,
                                   bool withFailures) {
    std::string text = "\n" + title + "\n";
    if (counts.empty()) {
        return text + "  (none in this period)\n";
    }
    for (const UsageReport::Count& count : counts) {
        text += "  " + Pad(MarkupText::shorten(count.name, 36), 38) +
                Pad(ReportFormat::count(count.count), 12, true);
        if (withFailures) {
            text += "  " + Pad(ReportFormat::count(count.failures), 10, true) + " failed";
        }
        text += "\n";
    }
    return text;
}

std::string TextReportWriter::text() const {
    const UsageReport::Totals& totals = m_report.totals;
    std::string text = "Audit usage report\n  Database: " + m_database +
                       "\n  Period:   " + ReportFormat::period(m_report) +
                       "\n  Written:  " + m_writtenAt + "\n\n";
    text += "Requests:  " + ReportFormat::count(totals.requests) + " (" +
            ReportFormat::count(totals.failures) + " failed, " +
            ReportFormat::percent(totals.failures, totals.requests) + ")\n";
    text += "Sessions:  " + ReportFormat::count(totals.sessions) + ", users " +
            ReportFormat::count(totals.users) + "\n";
    if (totals.requests > 0) {
        text += "First:     " + totals.first + "\nLast:      " + totals.last + "\n";
    }
    text += "Start-ups: " + ReportFormat::count(m_report.startups.size()) + "\n";

    text += "\nDurations of " + ReportFormat::count(m_report.timedRequests) +
            " ended web and remote requests\n";
    for (const UsageReport::Percentile& percentile : m_report.percentiles) {
        text += "  " + Pad(ReportFormat::rank(percentile.rank), 10) +
                Pad(ReportFormat::duration(percentile.milliseconds), 14, true) + "\n";
    }
    text += "\nSlowest requests\n";
    for (const UsageReport::SlowRequest& request : m_report.slowest) {
        text += "  " + Pad(ReportFormat::duration(request.milliseconds), 12, true) + "  " +
                request.start + "  " + Pad(MarkupText::shorten(request.user, 20), 20) + "  " +
                Pad(request.outcome, 8) + "  " + request.sessionId + " / " + request.requestId +
                "\n";
    }
    text += "\nPer day       requests  failures  median duration\n";
    for (const UsageReport::Slot& day : m_report.days) {
        text +=
            "  " + day.label + Pad(ReportFormat::count(day.requests), 10, true) +
            Pad(ReportFormat::count(day.failures), 10, true) +
            Pad(day.timed > 0 ? ReportFormat::duration(day.medianMilliseconds) : "-", 17, true) +
            "\n";
    }
    text += list("Top users (requests)", m_report.topUsers, true);
    text += list("Top user classes (requests)", m_report.userClasses, true);
    text += list("Top data sources (sessions)", m_report.dataSources, false);
    text += list("Top dimensions (requests)", m_report.dimensions, false);
    text += list("Top levels (requests)", m_report.levels, false);
    text += list("Top measures (requests)", m_report.measures, false);
    text += list("Administration actions", m_report.adminActions, true);
    return text;
}
