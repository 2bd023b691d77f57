// The accessor of "QXES_SESSION": one row per user session.
//   SessionTableAccess row(tables.at(TableId::kSessionTable).get());
//   row.m_sessionId.SetValue("s1");
//   row.m_userName.SetValue("ann");
//   bool inserted = row.Insert(db);
#pragma once

#include <vector>

#include "columnData.h"
#include "tableAccess.h"

class SessionTableAccess final : public TableAccess {
  public:
    explicit SessionTableAccess(const Table* table);

    bool Insert(SQLDB* db) override;
    bool Update(SQLDB* db, const TableAccess& newValues) override;
    int Select(SQLDB* db) const override;
    void GetColumnCollectionValues(std::vector<ColumnData>& col) const override;
    void SetColumnCollectionValues(const std::vector<ColumnData>& col) override;
    ColumnList Columns() const override;

    // The row, in the table's column order.
    ColumnData m_sessionId;  // SESSION_ID, text, key
    ColumnData m_userName;   // USER_NAME, text
};
