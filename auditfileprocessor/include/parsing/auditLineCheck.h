// Tells whether a split record line is one the server could have written: every
// field valid UTF-8, and a time stamp that is a real date and time. A line that
// is not is refused whole before any handler runs, so that no backend stores
// half of it and no backend stops loading on it for good. The parser reads a
// record's field count and time stamp from here too.
//   if (!AuditLineCheck::IsWellFormedRecord(fields)) { return false; }
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "auditSupport.h"

class AuditLineCheck {
  public:
    // The fields every record line has; the message may run on past them.
    static constexpr size_t kFixedFieldCount = AuditSupport::message + 1;

    // The audit time stamp 2011-03-04:17:05:09.042 made the one the database
    // reads, 2011-03-04 17:05:09.042: the first colon becomes a space.
    static void ToDatabaseTimeStamp(std::string& stamp);

    // Every field valid UTF-8 and, when the line has one, a valid time stamp.
    static bool IsWellFormedRecord(const std::vector<std::string>& fields);
    // Why the record is not well formed, for the administrator; empty when it is.
    static std::string WhyMalformed(const std::vector<std::string>& fields);
    // Shortest-form UTF-8 of code points up to U+10FFFF, surrogates excluded.
    static bool IsValidUtf8(const std::string& text);
};
