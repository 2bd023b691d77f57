// The accessor of "QXES_LEVEL_USAGE": how often a request used one level of a dimension.
//   LevelUsageTableAccess row(tables.at(TableId::kLevelUsageTable).get());
//   row.m_levelCode.SetValue("2");
//   row.m_levelCount.SetValue("4");
//   bool inserted = row.Insert(db);
#pragma once

#include <vector>

#include "columnData.h"
#include "tableAccess.h"

class LevelUsageTableAccess final : public TableAccess {
  public:
    explicit LevelUsageTableAccess(const Table* table);

    bool Insert(SQLDB* db) override;
    bool Update(SQLDB* db, const TableAccess& newValues) override;
    int Select(SQLDB* db) const override;
    void GetColumnCollectionValues(std::vector<ColumnData>& col) const override;
    void SetColumnCollectionValues(const std::vector<ColumnData>& col) override;
    ColumnList Columns() const override;

    // The row, in the table's column order.
    ColumnData m_sessionId;   // SESSION_ID, text, key
    ColumnData m_requestId;   // REQUEST_ID, text, key
    ColumnData m_dimCode;     // DIM_CODE, text, key
    ColumnData m_levelCode;   // LEVEL_CODE, text, key
    ColumnData m_levelName;   // LEVEL_NAME, text
    ColumnData m_levelCount;  // LEVEL_COUNT, numeric
};
