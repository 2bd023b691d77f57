#include "userSourceTableAccess.h"

UserSourceTableAccess::UserSourceTableAccess(const Table* table)
    : TableAccess(table),
      m_sessionId("SESSION_ID", ColumnType::kText, ColumnKey::kKey),
      m_sourceName("SOURCE_NAME", ColumnType::kText, ColumnKey::kKey),
      m_sourceType("SOURCE_TYPE", ColumnType::kText, ColumnKey::kKey),
      m_sourceFilename("SOURCE_FILENAME", ColumnType::kText, ColumnKey::kOrdinary) {}

bool UserSourceTableAccess::Insert(SQLDB* db) {
    std::vector<ColumnData> row;
    GetColumnCollectionValues(row);
    return TableAccess::Insert(db, row);
}

bool UserSourceTableAccess::Update(SQLDB* db, const TableAccess& newValues) {
    std::vector<ColumnData> newRow;
    newValues.GetColumnCollectionValues(newRow);
    std::vector<ColumnData> keyRow;
    GetColumnCollectionValues(keyRow);
    return TableAccess::Update(db, newRow, keyRow);
}

int UserSourceTableAccess::Select(SQLDB* db) const {
    std::vector<ColumnData> keyRow;
    GetColumnCollectionValues(keyRow);
    return TableAccess::Select(db, keyRow);
}

void UserSourceTableAccess::GetColumnCollectionValues(std::vector<ColumnData>& col) const {
    CopyColumnsOut(col, {&m_sessionId, &m_sourceName, &m_sourceType, &m_sourceFilename});
}

void UserSourceTableAccess::SetColumnCollectionValues(const std::vector<ColumnData>& col) {
    CopyColumnsIn(col, {&m_sessionId, &m_sourceName, &m_sourceType, &m_sourceFilename});
}
