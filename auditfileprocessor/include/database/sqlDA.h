// The descriptor of a prepared statement's result: its columns and, after a
// successful fetch, the current row.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "sqlColType.h"

struct SqlDA {
    struct ColumnDescription {
        std::string name;  // as spelled in the schema, e.g. "SESSION_ID"
        SqlColType type = kSqlColUnknown;
        // Byte length; for text columns the declared width plus 2, and a length
        // that never truncates for text without a declared width.
        long length = 0;
    };

    std::vector<ColumnDescription> columns;
    // The current row after a fetch, one value per column; no value is the SQL null.
    std::vector<std::optional<std::string>> row;
};
