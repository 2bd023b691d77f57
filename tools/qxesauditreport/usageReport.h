// The figures of one usage report, as read from the audit database and before
// any rendering: counts per day, hour and name, duration percentiles, the
// slowest requests and the server start-ups of the period. Times read
// "YYYY-MM-DD HH:MM:SS.mmm" whatever the backend.
//   UsageReport report = ReportQueries(db, period).read();
//   report.totals.requests;           // every request that started in the period
//   report.topUsers.front().name;     // the busiest user
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct UsageReport {
    // A name (user, class, data source, dimension ...) and how often it came.
    struct Count {
        std::string name;
        int64_t count = 0;  // requests, or sessions for data sources
        int64_t failures = 0;
    };
    // One day or hour of the day and its requests.
    struct Slot {
        std::string label;  // "2011-03-04", or "17" for an hour
        int64_t requests = 0;
        int64_t failures = 0;
        // Days only: the ended web and remote requests and their median duration.
        int64_t timed = 0;
        int64_t medianMilliseconds = 0;
    };
    struct Percentile {
        int rank = 0;  // 50 for the median; 100 for the longest
        int64_t milliseconds = 0;
    };
    struct SlowRequest {
        std::string sessionId, requestId, start, user, outcome;
        int64_t milliseconds = 0;
    };
    struct Startup {
        std::string start, machine, version;
        int64_t port = 0;  // 0 when the server gave none
    };
    struct Totals {
        int64_t requests = 0, failures = 0, sessions = 0, users = 0;
        std::string first, last;  // start times of the first and last request
    };

    std::string since, until;  // the period asked for; empty for open ends
    Totals totals;
    std::vector<Slot> days;     // every day with requests, in order
    std::vector<Slot> hours;    // the 24 hours of the day, 0 to 23
    int64_t timedRequests = 0;  // requests whose duration the percentiles cover
    std::vector<Percentile> percentiles;
    std::vector<SlowRequest> slowest;
    std::vector<Count> topUsers, userClasses, dataSources, dimensions, levels, measures;
    std::vector<Count> adminActions;
    std::vector<Startup> startups;
};
