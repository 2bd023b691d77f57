// An audit table: its name in the database and its columns in database order.
//   Table requests("QXES_REQUEST");  // columns are filled by the table catalogue
#pragma once

#include <string>
#include <vector>

#include "column.h"

class Table {
  public:
    explicit Table(const std::string& tableName) : name(tableName) {}

    // The column of that exact name, or NULL.
    const Column* FindColumn(const std::string& columnName) const {
        for (const Column& column : columns) {
            if (column.name == columnName) {
                return &column;
            }
        }
        return nullptr;
    }

    std::string name;
    std::vector<Column> columns;
};
