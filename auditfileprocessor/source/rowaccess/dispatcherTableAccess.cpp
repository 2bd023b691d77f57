#include "dispatcherTableAccess.h"

DispatcherTableAccess::DispatcherTableAccess(const Table* table)
    : TableAccess(table),
      m_serverStartDateTime("SERVER_START_DATE_TIME", ColumnType::kDate, ColumnKey::kKey),
      m_machineName("MACHINE_NAME", ColumnType::kText, ColumnKey::kKey),
      m_machinePort("MACHINE_PORT", ColumnType::kNumeric, ColumnKey::kKey),
      m_timeZone("TIME_ZONE", ColumnType::kText, ColumnKey::kOrdinary),
      m_qxesVersion("QXES_VERSION", ColumnType::kText, ColumnKey::kOrdinary),
      m_logfileVersion("LOGFILE_VERSION", ColumnType::kNumeric, ColumnKey::kOrdinary),
      m_logfileGeneration("LOGFILE_GENERATION", ColumnType::kNumeric, ColumnKey::kOrdinary) {}

bool DispatcherTableAccess::Insert(SQLDB* db) {
    return TableAccess::Insert(db, Columns());
}

bool DispatcherTableAccess::Update(SQLDB* db, const TableAccess& newValues) {
    return TableAccess::Update(db, newValues.Columns(), Columns());
}

int DispatcherTableAccess::Select(SQLDB* db) const {
    return TableAccess::Select(db, Columns());
}

void DispatcherTableAccess::GetColumnCollectionValues(std::vector<ColumnData>& col) const {
    CopyColumnsOut(col, Columns());
}

TableAccess::ColumnList DispatcherTableAccess::Columns() const {
    return {&m_serverStartDateTime, &m_machineName,    &m_machinePort,      &m_timeZone,
            &m_qxesVersion,         &m_logfileVersion, &m_logfileGeneration};
}

void DispatcherTableAccess::SetColumnCollectionValues(const std::vector<ColumnData>& col) {
    CopyColumnsIn(col, {&m_serverStartDateTime, &m_machineName, &m_machinePort, &m_timeZone,
                        &m_qxesVersion, &m_logfileVersion, &m_logfileGeneration});
}
