#include "dimUsageTableAccess.h"

DimUsageTableAccess::DimUsageTableAccess(const Table* table)
    : TableAccess(table),
      m_sessionId("SESSION_ID", ColumnType::kText, ColumnKey::kKey),
      m_requestId("REQUEST_ID", ColumnType::kText, ColumnKey::kKey),
      m_dimCode("DIM_CODE", ColumnType::kText, ColumnKey::kKey),
      m_dimName("DIM_NAME", ColumnType::kText, ColumnKey::kOrdinary),
      m_dimCount("DIM_COUNT", ColumnType::kNumeric, ColumnKey::kOrdinary) {}

bool DimUsageTableAccess::Insert(SQLDB* db) {
    std::vector<ColumnData> row;
    GetColumnCollectionValues(row);
    return TableAccess::Insert(db, row);
}

bool DimUsageTableAccess::Update(SQLDB* db, const TableAccess& newValues) {
    std::vector<ColumnData> newRow;
    newValues.GetColumnCollectionValues(newRow);
    std::vector<ColumnData> keyRow;
    GetColumnCollectionValues(keyRow);
    return TableAccess::Update(db, newRow, keyRow);
}

int DimUsageTableAccess::Select(SQLDB* db) const {
    std::vector<ColumnData> keyRow;
    GetColumnCollectionValues(keyRow);
    return TableAccess::Select(db, keyRow);
}

void DimUsageTableAccess::GetColumnCollectionValues(std::vector<ColumnData>& col) const {
    CopyColumnsOut(col, {&m_sessionId, &m_requestId, &m_dimCode, &m_dimName, &m_dimCount});
}

void DimUsageTableAccess::SetColumnCollectionValues(const std::vector<ColumnData>& col) {
    CopyColumnsIn(col, {&m_sessionId, &m_requestId, &m_dimCode, &m_dimName, &m_dimCount});
}
