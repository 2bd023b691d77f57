#include "sessionTableAccess.h"

SessionTableAccess::SessionTableAccess(const Table* table)
    : TableAccess(table),
      m_sessionId("SESSION_ID", ColumnType::kText, ColumnKey::kKey),
      m_userName("USER_NAME", ColumnType::kText, ColumnKey::kOrdinary) {}

bool SessionTableAccess::Insert(SQLDB* db) {
    std::vector<ColumnData> row;
    GetColumnCollectionValues(row);
    return TableAccess::Insert(db, row);
}

bool SessionTableAccess::Update(SQLDB* db, const TableAccess& newValues) {
    std::vector<ColumnData> newRow;
    newValues.GetColumnCollectionValues(newRow);
    std::vector<ColumnData> keyRow;
    GetColumnCollectionValues(keyRow);
    return TableAccess::Update(db, newRow, keyRow);
}

int SessionTableAccess::Select(SQLDB* db) const {
    std::vector<ColumnData> keyRow;
    GetColumnCollectionValues(keyRow);
    return TableAccess::Select(db, keyRow);
}

void SessionTableAccess::GetColumnCollectionValues(std::vector<ColumnData>& col) const {
    CopyColumnsOut(col, {&m_sessionId, &m_userName});
}

void SessionTableAccess::SetColumnCollectionValues(const std::vector<ColumnData>& col) {
    CopyColumnsIn(col, {&m_sessionId, &m_userName});
}
