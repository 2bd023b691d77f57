// One column of an audit table as the database describes it.
#pragma once

#include <string>

#include "sqlColType.h"

class Column {
  public:
    Column() = default;
    Column(const std::string& columnName, SqlColType columnType, long byteLength)
        : name(columnName), type(columnType), length(byteLength) {}

    std::string name;
    SqlColType type = kSqlColUnknown;
    // Byte length including 2 bytes that are not usable for data (text columns).
    long length = 0;
};
