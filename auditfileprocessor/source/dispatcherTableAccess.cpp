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
    std::vector<ColumnData> row;
    GetColumnCollectionValues(row);
    return TableAccess::Insert(db, row);
}

bool DispatcherTableAccess::Update(SQLDB* db, const TableAccess& newValues) {
    std::vector<ColumnData> newRow;
    newValues.GetColumnCollectionValues(newRow);
    std::vector<ColumnData> keyRow;
    GetColumnCollectionValues(keyRow);
    return TableAccess::Update(db, newRow, keyRow);
}

int DispatcherTableAccess::Select(SQLDB* db) const {
    std::vector<ColumnData> keyRow;
    GetColumnCollectionValues(keyRow);
    return TableAccess::Select(db, keyRow);
}

void DispatcherTableAccess::GetColumnCollectionValues(std::vector<ColumnData>& col) const {
    CopyColumnsOut(col, {&m_serverStartDateTime, &m_machineName, &m_machinePort, &m_timeZone,
                         &m_qxesVersion, &m_logfileVersion, &m_logfileGeneration});
}

void DispatcherTableAccess::SetColumnCollectionValues(const std::vector<ColumnData>& col) {
    CopyColumnsIn(col, {&m_serverStartDateTime, &m_machineName, &m_machinePort, &m_timeZone,
                        &m_qxesVersion, &m_logfileVersion, &m_logfileGeneration});
}
