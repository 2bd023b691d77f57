// Reads the figures of a usage report from the audit database through the
// program's database session, in one transaction so that every section sees
// the same rows. The period is a half-open interval of request start times.
//   ReportQueries queries(db, "2011-03-04 00:00:00", "");
//   UsageReport report = queries.read();  // throws RDXSQLException on failure
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "usageReport.h"

class SQLDB;

class ReportQueries {
  public:
    // How many names the top lists keep, and how many slowest requests.
    static constexpr int kTopCount = 10;
    // The percentiles of request durations, as ranks out of 100.
    static const std::vector<int> kPercentileRanks;
    // What the data sources show for the files read on behalf of remote servers.
    static const char kRemoteSources[];

    // `since` and `until` are "YYYY-MM-DD HH:MM:SS", or empty for an open end.
    ReportQueries(SQLDB& db, std::string since, std::string until);

    // Fails with a readable reason when the database lacks the report's views.
    UsageReport read();

  private:
    using Row = std::vector<std::optional<std::string>>;

    std::vector<Row> rows(const std::string& sql);
    // " AND column >= since AND column < until", the ends that were given.
    std::string period(const std::string& column) const;
    // A time stamp literal as the engine takes it.
    std::string literal(const std::string& timestamp) const;
    std::vector<UsageReport::Count> counts(const std::string& sql);
    void readPeople(UsageReport& report);
    void readSlots(UsageReport& report);
    void readDurations(UsageReport& report);
    void readUsage(UsageReport& report);
    void readStartups(UsageReport& report);

    SQLDB& m_db;
    std::string m_since, m_until;
};
