// How the page and the text summary write figures, so that both say the same.
//   ReportFormat::duration(1234);       // "1.234 s"
//   ReportFormat::percent(1, 8);        // "12.5 %"
//   ReportFormat::count(1234567);       // "1,234,567"
#pragma once

#include <cstdint>
#include <string>

#include "usageReport.h"

class ReportFormat {
  public:
    static std::string duration(int64_t milliseconds);
    // `part` out of `whole` in percent with one decimal; "-" when whole is 0.
    static std::string percent(int64_t part, int64_t whole);
    // The share as a number, 0 when whole is 0.
    static double share(int64_t part, int64_t whole);
    // The period asked for, in words.
    static std::string period(const UsageReport& report);
    // A count with thousands separated: 1,234,567.
    static std::string count(int64_t value);
    // A percentile's name: "50th" ... "99th", and "longest" for 100.
    static std::string rank(int rank);
};
