// Checks the values that go into statements bare or as timestamps, so that a
// malformed audit field is refused before it reaches the database and every
// database refuses exactly the same input. "NULL" always passes.
//   SqlValueCheck::IsValidNumeric("-42", kSqlColInteger);         // true
//   SqlValueCheck::IsValidTimestamp("2011-03-04 17:05:09.123");  // true
#pragma once

#include <string>

#include "sqlColType.h"

class SqlValueCheck {
  public:
    // A whole number (an optional minus sign and at least one digit) that fits
    // the column's integer type: 32 bits for INTEGER, 64 bits otherwise.
    static bool IsValidNumeric(const std::string& value, SqlColType columnType);
    // A real calendar date and time "YYYY-MM-DD HH:MM:SS", optionally followed
    // by "." and 1 to 6 digits of fraction.
    static bool IsValidTimestamp(const std::string& value);
    // A value holding a NUL byte cannot be written into statement text.
    static bool HasNulByte(const std::string& value);
};
