#include "reportFormat.h"

#include <cstdio>
#include <cstdlib>

std::string ReportFormat::duration(int64_t milliseconds) {
    char text[48];
    const char* sign = milliseconds < 0 ? "-" : "";
    // Written from the magnitude so that the smallest value cannot overflow.
    const uint64_t magnitude =
        milliseconds < 0 ? 0 - static_cast<uint64_t>(milliseconds) : milliseconds;
    std::snprintf(text, sizeof text, "%s%llu.%03llu s", sign,
                  static_cast<unsigned long long>(magnitude / 1000),
                  static_cast<unsigned long long>(magnitude % 1000));
    return text;
}

double ReportFormat::share(int64_t part, int64_t whole) {
    return whole == 0 ? 0 : 100.0 * static_cast<double>(part) / static_cast<double>(whole);
}

std::string ReportFormat::percent(int64_t part, int64_t whole) {
    if (whole == 0) {
        return "-";
    }
    char text[32];
    std::snprintf(text, sizeof text, "%.1f %%", share(part, whole));
    return text;
}

std::string ReportFormat::period(const UsageReport& report) {
    if (report.since.empty() && report.until.empty()) {
        return "all requests in the database";
    }
    if (report.until.empty()) {
        return "requests started from " + report.since;
    }
    if (report.since.empty()) {
        return "requests started before " + report.until;
    }
    return "requests started from " + report.since + " until before " + report.until;
}

std::string ReportFormat::count(int64_t value) {
    std::string digits = std::to_string(value);
    const size_t first = value < 0 ? 1 : 0;
    for (size_t at = digits.size(); at > first + 3; at -= 3) {
        digits.insert(at - 3, ",");
    }
    return digits;
}

std::string ReportFormat::rank(int rank) {
    return rank == 100 ? "longest" : std::to_string(rank) + "th";
}
