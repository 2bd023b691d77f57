// The accessor of "QXES_USER_SOURCE": a data source that a session's user opened.
//   UserSourceTableAccess row(tables.at(TableId::kUserSourceTable).get());
//   row.m_sessionId.SetValue("s1");
//   row.m_sourceName.SetValue("Sales");
//   int found = row.Select(db);  // 1, 0 or -1
#pragma once

#include <vector>

#include "columnData.h"
#include "tableAccess.h"

class UserSourceTableAccess final : public TableAccess {
  public:
    explicit UserSourceTableAccess(const Table* table);

    bool Insert(SQLDB* db) override;
    bool Update(SQLDB* db, const TableAccess& newValues) override;
    int Select(SQLDB* db) const override;
    void GetColumnCollectionValues(std::vector<ColumnData>& col) const override;
    void SetColumnCollectionValues(const std::vector<ColumnData>& col) override;
    ColumnList Columns() const override;

    // The row, in the table's column order.
    ColumnData m_sessionId;       // SESSION_ID, text, key
    ColumnData m_sourceName;      // SOURCE_NAME, text, key
    ColumnData m_sourceType;      // SOURCE_TYPE, text, key
    ColumnData m_sourceFilename;  // SOURCE_FILENAME, text
};
