#include "sessionTableAccess.h"

SessionTableAccess::SessionTableAccess(const Table* table)
    : TableAccess(table),
      m_sessionId("SESSION_ID", ColumnType::kText, ColumnKey::kKey),
      m_userName("USER_NAME", ColumnType::kText, ColumnKey::kOrdinary) {}

bool SessionTableAccess::Insert(SQLDB* db) {
    return TableAccess::Insert(db, Columns());
}

bool SessionTableAccess::Update(SQLDB* db, const TableAccess& newValues) {
    return TableAccess::Update(db, newValues.Columns(), Columns());
}

int SessionTableAccess::Select(SQLDB* db) const {
    return TableAccess::Select(db, Columns());
}

void SessionTableAccess::GetColumnCollectionValues(std::vector<ColumnData>& col) const {
    CopyColumnsOut(col, Columns());
}

TableAccess::ColumnList SessionTableAccess::Columns() const {
    return {&m_sessionId, &m_userName};
}

void SessionTableAccess::SetColumnCollectionValues(const std::vector<ColumnData>& col) {
    CopyColumnsIn(col, {&m_sessionId, &m_userName});
}
