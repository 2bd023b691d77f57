// The usage report as plain text for terminals and mail: the totals, the
// duration percentiles, the slowest requests and each top list, in columns.
//   TextReportWriter writer(report, "audit.db", "2011-03-05 08:00:00");
//   std::cout << writer.text();
#pragma once

#include <string>
#include <vector>

#include "usageReport.h"

class TextReportWriter {
  public:
    TextReportWriter(const UsageReport& report, std::string database, std::string writtenAt);
    std::string text() const;

  private:
    static std::string list(const std::string& title, const std::vector<UsageReport::Count>& counts,
                            bool withFailures);

    const UsageReport& m_report;
    std::string m_database, m_writtenAt;
};
