#include "levelUsageTableAccess.h"

LevelUsageTableAccess::LevelUsageTableAccess(const Table* table)
    : TableAccess(table),
      m_sessionId("SESSION_ID", ColumnType::kText, ColumnKey::kKey),
      m_requestId("REQUEST_ID", ColumnType::kText, ColumnKey::kKey),
      m_dimCode("DIM_CODE", ColumnType::kText, ColumnKey::kKey),
      m_levelCode("LEVEL_CODE", ColumnType::kText, ColumnKey::kKey),
      m_levelName("LEVEL_NAME", ColumnType::kText, ColumnKey::kOrdinary),
      m_levelCount("LEVEL_COUNT", ColumnType::kNumeric, ColumnKey::kOrdinary) {}

bool LevelUsageTableAccess::Insert(SQLDB* db) {
    return TableAccess::Insert(db, Columns());
}

bool LevelUsageTableAccess::Update(SQLDB* db, const TableAccess& newValues) {
    return TableAccess::Update(db, newValues.Columns(), Columns());
}

int LevelUsageTableAccess::Select(SQLDB* db) const {
    return TableAccess::Select(db, Columns());
}

void LevelUsageTableAccess::GetColumnCollectionValues(std::vector<ColumnData>& col) const {
    CopyColumnsOut(col, Columns());
}

TableAccess::ColumnList LevelUsageTableAccess::Columns() const {
    return {&m_sessionId, &m_requestId, &m_dimCode, &m_levelCode, &m_levelName, &m_levelCount};
}

void LevelUsageTableAccess::SetColumnCollectionValues(const std::vector<ColumnData>& col) {
    CopyColumnsIn(
        col, {&m_sessionId, &m_requestId, &m_dimCode, &m_levelCode, &m_levelName, &m_levelCount});
}
