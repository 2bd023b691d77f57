#include "adminSourceTableAccess.h"

AdminSourceTableAccess::AdminSourceTableAccess(const Table* table)
    : TableAccess(table),
      m_sessionId("SESSION_ID", ColumnType::kText, ColumnKey::kKey),
      m_requestId("REQUEST_ID", ColumnType::kText, ColumnKey::kKey),
      m_sourceName("SOURCE_NAME", ColumnType::kText, ColumnKey::kOrdinary),
      m_sourceType("SOURCE_TYPE", ColumnType::kText, ColumnKey::kOrdinary) {}

bool AdminSourceTableAccess::Insert(SQLDB* db) {
    return TableAccess::Insert(db, Columns());
}

bool AdminSourceTableAccess::Update(SQLDB* db, const TableAccess& newValues) {
    return TableAccess::Update(db, newValues.Columns(), Columns());
}

int AdminSourceTableAccess::Select(SQLDB* db) const {
    return TableAccess::Select(db, Columns());
}

void AdminSourceTableAccess::GetColumnCollectionValues(std::vector<ColumnData>& col) const {
    CopyColumnsOut(col, Columns());
}

TableAccess::ColumnList AdminSourceTableAccess::Columns() const {
    return {&m_sessionId, &m_requestId, &m_sourceName, &m_sourceType};
}

void AdminSourceTableAccess::SetColumnCollectionValues(const std::vector<ColumnData>& col) {
    CopyColumnsIn(col, {&m_sessionId, &m_requestId, &m_sourceName, &m_sourceType});
}
