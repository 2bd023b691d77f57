// The accessor of "QXES_ADMIN_SOURCE": the source touched by an administration or portal request.
//   AdminSourceTableAccess row(tables.at(TableId::kAdminSourceTable).get());
//   row.m_sessionId.SetValue("s1");
//   row.m_requestId.SetValue("r1");
//   bool inserted = row.Insert(db);
#pragma once

#include <vector>

#include "columnData.h"
#include "tableAccess.h"

class AdminSourceTableAccess final : public TableAccess {
  public:
    explicit AdminSourceTableAccess(const Table* table);

    bool Insert(SQLDB* db) override;
    bool Update(SQLDB* db, const TableAccess& newValues) override;
    int Select(SQLDB* db) const override;
    void GetColumnCollectionValues(std::vector<ColumnData>& col) const override;
    void SetColumnCollectionValues(const std::vector<ColumnData>& col) override;
    ColumnList Columns() const override;

    // The row, in the table's column order.
    ColumnData m_sessionId;   // SESSION_ID, text, key
    ColumnData m_requestId;   // REQUEST_ID, text, key
    ColumnData m_sourceName;  // SOURCE_NAME, text
    ColumnData m_sourceType;  // SOURCE_TYPE, text
};
