#include "adminSourceTableAccess.h"

AdminSourceTableAccess::AdminSourceTableAccess(const Table* table)
    : TableAccess(table),
      m_sessionId("SESSION_ID", ColumnType::kText, ColumnKey::kKey),
      m_requestId("REQUEST_ID", ColumnType::kText, ColumnKey::kKey),
      m_sourceName("SOURCE_NAME", ColumnType::kText, ColumnKey::kOrdinary),
      m_sourceType("SOURCE_TYPE", ColumnType::kText, ColumnKey::kOrdinary) {}

bool AdminSourceTableAccess::Insert(SQLDB* db) {
    std::vector<ColumnData> row;
    GetColumnCollectionValues(row);
    return TableAccess::Insert(db, row);
}

bool AdminSourceTableAccess::Update(SQLDB* db, const TableAccess& newValues) {
    std::vector<ColumnData> newRow;
    newValues.GetColumnCollectionValues(newRow);
    std::vector<ColumnData> keyRow;
    GetColumnCollectionValues(keyRow);
    return TableAccess::Update(db, newRow, keyRow);
}

int AdminSourceTableAccess::Select(SQLDB* db) const {
    std::vector<ColumnData> keyRow;
    GetColumnCollectionValues(keyRow);
    return TableAccess::Select(db, keyRow);
}

void AdminSourceTableAccess::GetColumnCollectionValues(std::vector<ColumnData>& col) const {
    CopyColumnsOut(col, {&m_sessionId, &m_requestId, &m_sourceName, &m_sourceType});
}

void AdminSourceTableAccess::SetColumnCollectionValues(const std::vector<ColumnData>& col) {
    CopyColumnsIn(col, {&m_sessionId, &m_requestId, &m_sourceName, &m_sourceType});
}
