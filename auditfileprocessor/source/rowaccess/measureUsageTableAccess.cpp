#include "measureUsageTableAccess.h"

MeasureUsageTableAccess::MeasureUsageTableAccess(const Table* table)
    : TableAccess(table),
      m_sessionId("SESSION_ID", ColumnType::kText, ColumnKey::kKey),
      m_requestId("REQUEST_ID", ColumnType::kText, ColumnKey::kKey),
      m_measureCode("MEASURE_CODE", ColumnType::kText, ColumnKey::kKey),
      m_measureName("MEASURE_NAME", ColumnType::kText, ColumnKey::kOrdinary),
      m_measureCount("MEASURE_COUNT", ColumnType::kNumeric, ColumnKey::kOrdinary) {}

bool MeasureUsageTableAccess::Insert(SQLDB* db) {
    return TableAccess::Insert(db, Columns());
}

bool MeasureUsageTableAccess::Update(SQLDB* db, const TableAccess& newValues) {
    return TableAccess::Update(db, newValues.Columns(), Columns());
}

int MeasureUsageTableAccess::Select(SQLDB* db) const {
    return TableAccess::Select(db, Columns());
}

void MeasureUsageTableAccess::GetColumnCollectionValues(std::vector<ColumnData>& col) const {
    CopyColumnsOut(col, Columns());
}

TableAccess::ColumnList MeasureUsageTableAccess::Columns() const {
    return {&m_sessionId, &m_requestId, &m_measureCode, &m_measureName, &m_measureCount};
}

void MeasureUsageTableAccess::SetColumnCollectionValues(const std::vector<ColumnData>& col) {
    CopyColumnsIn(col,
                  {&m_sessionId, &m_requestId, &m_measureCode, &m_measureName, &m_measureCount});
}
