// The accessor of "QXES_REQUEST": one row per request of a session, completed by an update when it
// ends.
//   RequestTableAccess row(tables.at(TableId::kRequestTable).get());
//   row.m_sessionId.SetValue("s1");
//   row.m_requestId.SetValue("r1");
//   int found = row.Select(db);  // 1, 0 or -1
#pragma once

#include <vector>

#include "columnData.h"
#include "tableAccess.h"

class RequestTableAccess final : public TableAccess {
  public:
    explicit RequestTableAccess(const Table* table);

    bool Insert(SQLDB* db) override;
    bool Update(SQLDB* db, const TableAccess& newValues) override;
    int Select(SQLDB* db) const override;
    void GetColumnCollectionValues(std::vector<ColumnData>& col) const override;
    void SetColumnCollectionValues(const std::vector<ColumnData>& col) override;
    ColumnList Columns() const override;

    // The row, in the table's column order.
    ColumnData m_sessionId;            // SESSION_ID, text, key
    ColumnData m_requestId;            // REQUEST_ID, text, key
    ColumnData m_startDateTime;        // START_DATE_TIME, date
    ColumnData m_endDateTime;          // END_DATE_TIME, date
    ColumnData m_requestStatus;        // REQUEST_STATUS, numeric
    ColumnData m_userClass;            // USER_CLASS, text
    ColumnData m_redispatch;           // REDISPATCH, numeric
    ColumnData m_requestType;          // REQUEST_TYPE, numeric
    ColumnData m_action;               // ACTION, text
    ColumnData m_mirrors;              // MIRRORS, text
    ColumnData m_message;              // MESSAGE, text
    ColumnData m_machineName;          // MACHINE_NAME, text, dispatcher reference
    ColumnData m_machinePort;          // MACHINE_PORT, numeric, dispatcher reference
    ColumnData m_serverStartDateTime;  // SERVER_START_DATE_TIME, date, dispatcher reference
};
