// The accessor of "QXES_MEASURE_USAGE": how often a request used one measure.
//   MeasureUsageTableAccess row(tables.at(TableId::kMeasureUsageTable).get());
//   row.m_measureCode.SetValue("7");
//   row.m_measureCount.SetValue("1");
//   bool inserted = row.Insert(db);
#pragma once

#include <vector>

#include "columnData.h"
#include "tableAccess.h"

class MeasureUsageTableAccess final : public TableAccess {
  public:
    explicit MeasureUsageTableAccess(const Table* table);

    bool Insert(SQLDB* db) override;
    bool Update(SQLDB* db, const TableAccess& newValues) override;
    int Select(SQLDB* db) const override;
    void GetColumnCollectionValues(std::vector<ColumnData>& col) const override;
    void SetColumnCollectionValues(const std::vector<ColumnData>& col) override;
    ColumnList Columns() const override;

    // The row, in the table's column order.
    ColumnData m_sessionId;     // SESSION_ID, text, key
    ColumnData m_requestId;     // REQUEST_ID, text, key
    ColumnData m_measureCode;   // MEASURE_CODE, text, key
    ColumnData m_measureName;   // MEASURE_NAME, text
    ColumnData m_measureCount;  // MEASURE_COUNT, numeric
};
