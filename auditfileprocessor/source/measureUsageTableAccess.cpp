#include "measureUsageTableAccess.h"

MeasureUsageTableAccess::MeasureUsageTableAccess(const Table* table)
    : TableAccess(table),
      m_sessionId("SESSION_ID", ColumnType::kText, ColumnKey::kKey),
      m_requestId("REQUEST_ID", ColumnType::kText, ColumnKey::kKey),
      m_measureCode("MEASURE_CODE", ColumnType::kText, ColumnKey::kKey),
      m_measureName("MEASURE_NAME", ColumnType::kText, ColumnKey::kOrdinary),
      m_measureCount("MEASURE_COUNT", ColumnType::kNumeric, ColumnKey::kOrdinary) {}

bool MeasureUsageTableAccess::Insert(SQLDB* db) {
    std::vector<ColumnData> row;
    GetColumnCollectionValues(row);
    return TableAccess::Insert(db, row);
}

bool MeasureUsageTableAccess::Update(SQLDB* db, const TableAccess& newValues) {
    std::vector<ColumnData> newRow;
    newValues.GetColumnCollectionValues(newRow);
    std::vector<ColumnData> keyRow;
    GetColumnCollectionValues(keyRow);
    return TableAccess::Update(db, newRow, keyRow);
}

int MeasureUsageTableAccess::Select(SQLDB* db) const {
    std::vector<ColumnData> keyRow;
    GetColumnCollectionValues(keyRow);
    return TableAccess::Select(db, keyRow);
}

void MeasureUsageTableAccess::GetColumnCollectionValues(std::vector<ColumnData>& col) const {
    CopyColumnsOut(col,
                   {&m_sessionId, &m_requestId, &m_measureCode, &m_measureName, &m_measureCount});
}

void MeasureUsageTableAccess::SetColumnCollectionValues(const std::vector<ColumnData>& col) {
    CopyColumnsIn(col,
                  {&m_sessionId, &m_requestId, &m_measureCode, &m_measureName, &m_measureCount});
}
