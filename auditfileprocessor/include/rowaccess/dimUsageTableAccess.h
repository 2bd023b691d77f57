// The accessor of "QXES_DIM_USAGE": how often a request used one dimension.
//   DimUsageTableAccess row(tables.at(TableId::kDimUsageTable).get());
//   row.m_dimCode.SetValue("3");
//   row.m_dimCount.SetValue("2");
//   bool inserted = row.Insert(db);
#pragma once

#include <vector>

#include "columnData.h"
#include "tableAccess.h"

class DimUsageTableAccess final : public TableAccess {
  public:
    explicit DimUsageTableAccess(const Table* table);

    bool Insert(SQLDB* db) override;
    bool Update(SQLDB* db, const TableAccess& newValues) override;
    int Select(SQLDB* db) const override;
    void GetColumnCollectionValues(std::vector<ColumnData>& col) const override;
    void SetColumnCollectionValues(const std::vector<ColumnData>& col) override;
    ColumnList Columns() const override;

    // The row, in the table's column order.
    ColumnData m_sessionId;  // SESSION_ID, text, key
    ColumnData m_requestId;  // REQUEST_ID, text, key
    ColumnData m_dimCode;    // DIM_CODE, text, key
    ColumnData m_dimName;    // DIM_NAME, text
    ColumnData m_dimCount;   // DIM_COUNT, numeric
};
