// The usage report as one self-contained HTML page: inline style and inline
// SVG charts, no script, and a policy that forbids every fetch, so that the
// page shows the same anywhere, mailed or offline.
//   HtmlReportWriter writer(report, "audit.db", "2011-03-05 08:00:00");
//   std::ofstream("report.html") << writer.page();
#pragma once

#include <string>
#include <vector>

#include "usageReport.h"

class HtmlReportWriter {
  public:
    // The data-chart names of every chart on the page, in page order.
    static const std::vector<std::string> kChartIds;

    HtmlReportWriter(const UsageReport& report, std::string database, std::string writtenAt);
    std::string page() const;

  private:
    std::string summary() const;
    std::string activity() const;
    std::string durations() const;
    std::string people() const;
    std::string usage() const;
    std::string administration() const;

    const UsageReport& m_report;
    std::string m_database, m_writtenAt;
};
