// The SQL type of a result column, as the database driver reports it.
#pragma once

enum SqlColType {
    kSqlColUnknown = 0,
    kSqlColInteger = 1,    // 32-bit integer
    kSqlColBigInt = 2,     // 64-bit integer
    kSqlColText = 3,       // VARCHAR(n), or text without a declared width
    kSqlColTimestamp = 4,  // date and time
    kSqlColOther = 5,      // anything else (floating point, blobs, ...)
};
