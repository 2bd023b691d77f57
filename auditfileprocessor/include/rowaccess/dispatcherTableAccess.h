// The accessor of "QXES_DISPATCHER": one row per server start: when and where a server instance
// ran.
//   DispatcherTableAccess row(tables.at(TableId::kDispatcherTable).get());
//   row.m_machineName.SetValue("srv1");
//   row.m_machinePort.SetValue("8080");
//   bool inserted = row.Insert(db);
#pragma once

#include <vector>

#include "columnData.h"
#include "tableAccess.h"

class DispatcherTableAccess final : public TableAccess {
  public:
    explicit DispatcherTableAccess(const Table* table);

    bool Insert(SQLDB* db) override;
    bool Update(SQLDB* db, const TableAccess& newValues) override;
    int Select(SQLDB* db) const override;
    void GetColumnCollectionValues(std::vector<ColumnData>& col) const override;
    void SetColumnCollectionValues(const std::vector<ColumnData>& col) override;
    ColumnList Columns() const override;

    // The row, in the table's column order.
    ColumnData m_serverStartDateTime;  // SERVER_START_DATE_TIME, date, key
    ColumnData m_machineName;          // MACHINE_NAME, text, key
    ColumnData m_machinePort;          // MACHINE_PORT, numeric, key
    ColumnData m_timeZone;             // TIME_ZONE, text
    ColumnData m_qxesVersion;          // QXES_VERSION, text
    ColumnData m_logfileVersion;       // LOGFILE_VERSION, numeric
    ColumnData m_logfileGeneration;    // LOGFILE_GENERATION, numeric
};
