// Tells whether a split record line is one the server could have written: every
// field valid UTF-8, and a time stamp that is a real date and time. A line that
// is not is refused whole before any handler runs, so that no backend stores
// half of it and no backend stops loading on it for good.
//   if (!AuditLineCheck::IsWellFormedRecord(fields)) { return false; }
#pragma once

#include <string>
#include <vector>

class AuditLineCheck {
  public:
    // Every field valid UTF-8 and, when the line has one, a valid time stamp.
    static bool IsWellFormedRecord(const std::vector<std::string>& fields);
    // Why the record is not well formed, for the administrator; empty when it is.
    static std::string WhyMalformed(const std::vector<std::string>& fields);
    // Shortest-form UTF-8 of code points up to U+10FFFF, surrogates excluded.
    static bool IsValidUtf8(const std::string& text);
};
