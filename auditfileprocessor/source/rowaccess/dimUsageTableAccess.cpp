#include "dimUsageTableAccess.h"

DimUsageTableAccess::DimUsageTableAccess(const Table* table)
    : TableAccess(table),
      m_sessionId("SESSION_ID", ColumnType::kText, ColumnKey::kKey),
      m_requestId("REQUEST_ID", ColumnType::kText, ColumnKey::kKey),
      m_dimCode("DIM_CODE", ColumnType::kText, ColumnKey::kKey),
      m_dimName("DIM_NAME", ColumnType::kText, ColumnKey::kOrdinary),
      m_dimCount("DIM_COUNT", ColumnType::kNumeric, ColumnKey::kOrdinary) {}

bool DimUsageTableAccess::Insert(SQLDB* db) {
    return TableAccess::Insert(db, Columns());
}

bool DimUsageTableAccess::Update(SQLDB* db, const TableAccess& newValues) {
    return TableAccess::Update(db, newValues.Columns(), Columns());
}

int DimUsageTableAccess::Select(SQLDB* db) const {
    return TableAccess::Select(db, Columns());
}

void DimUsageTableAccess::GetColumnCollectionValues(std::vector<ColumnData>& col) const {
    CopyColumnsOut(col, Columns());
}

TableAccess::ColumnList DimUsageTableAccess::Columns() const {
    return {&m_sessionId, &m_requestId, &m_dimCode, &m_dimName, &m_dimCount};
}

void DimUsageTableAccess::SetColumnCollectionValues(const std::vector<ColumnData>& col) {
    CopyColumnsIn(col, {&m_sessionId, &m_requestId, &m_dimCode, &m_dimName, &m_dimCount});
}
