#include "userSourceTableAccess.h"

UserSourceTableAccess::UserSourceTableAccess(const Table* table)
    : TableAccess(table),
      m_sessionId("SESSION_ID", ColumnType::kText, ColumnKey::kKey),
      m_sourceName("SOURCE_NAME", ColumnType::kText, ColumnKey::kKey),
      m_sourceType("SOURCE_TYPE", ColumnType::kText, ColumnKey::kKey),
      m_sourceFilename("SOURCE_FILENAME", ColumnType::kText, ColumnKey::kOrdinary) {}

bool UserSourceTableAccess::Insert(SQLDB* db) {
    return TableAccess::Insert(db, Columns());
}

bool UserSourceTableAccess::Update(SQLDB* db, const TableAccess& newValues) {
    return TableAccess::Update(db, newValues.Columns(), Columns());
}

int UserSourceTableAccess::Select(SQLDB* db) const {
    return TableAccess::Select(db, Columns());
}

void UserSourceTableAccess::GetColumnCollectionValues(std::vector<ColumnData>& col) const {
    CopyColumnsOut(col, Columns());
}

TableAccess::ColumnList UserSourceTableAccess::Columns() const {
    return {&m_sessionId, &m_sourceName, &m_sourceType, &m_sourceFilename};
}

void UserSourceTableAccess::SetColumnCollectionValues(const std::vector<ColumnData>& col) {
    CopyColumnsIn(col, {&m_sessionId, &m_sourceName, &m_sourceType, &m_sourceFilename});
}
