#include "requestTableAccess.h"

RequestTableAccess::RequestTableAccess(const Table* table)
    : TableAccess(table),
      m_sessionId("SESSION_ID", ColumnType::kText, ColumnKey::kKey),
      m_requestId("REQUEST_ID", ColumnType::kText, ColumnKey::kKey),
      m_startDateTime("START_DATE_TIME", ColumnType::kDate, ColumnKey::kOrdinary),
      m_endDateTime("END_DATE_TIME", ColumnType::kDate, ColumnKey::kOrdinary),
      m_requestStatus("REQUEST_STATUS", ColumnType::kNumeric, ColumnKey::kOrdinary),
      m_userClass("USER_CLASS", ColumnType::kText, ColumnKey::kOrdinary),
      m_redispatch("REDISPATCH", ColumnType::kNumeric, ColumnKey::kOrdinary),
      m_requestType("REQUEST_TYPE", ColumnType::kNumeric, ColumnKey::kOrdinary),
      m_action("ACTION", ColumnType::kText, ColumnKey::kOrdinary),
      m_mirrors("MIRRORS", ColumnType::kText, ColumnKey::kOrdinary),
      m_message("MESSAGE", ColumnType::kText, ColumnKey::kOrdinary),
      m_machineName("MACHINE_NAME", ColumnType::kText, ColumnKey::kReference),
      m_machinePort("MACHINE_PORT", ColumnType::kNumeric, ColumnKey::kReference),
      m_serverStartDateTime("SERVER_START_DATE_TIME", ColumnType::kDate, ColumnKey::kReference) {}

bool RequestTableAccess::Insert(SQLDB* db) {
    return TableAccess::Insert(db, Columns());
}

bool RequestTableAccess::Update(SQLDB* db, const TableAccess& newValues) {
    return TableAccess::Update(db, newValues.Columns(), Columns());
}

int RequestTableAccess::Select(SQLDB* db) const {
    return TableAccess::Select(db, Columns());
}

void RequestTableAccess::GetColumnCollectionValues(std::vector<ColumnData>& col) const {
    CopyColumnsOut(col, Columns());
}

TableAccess::ColumnList RequestTableAccess::Columns() const {
    return {&m_sessionId,     &m_requestId,
            &m_startDateTime, &m_endDateTime,
            &m_requestStatus, &m_userClass,
            &m_redispatch,    &m_requestType,
            &m_action,        &m_mirrors,
            &m_message,       &m_machineName,
            &m_machinePort,   &m_serverStartDateTime};
}

void RequestTableAccess::SetColumnCollectionValues(const std::vector<ColumnData>& col) {
    CopyColumnsIn(col,
                  {&m_sessionId, &m_requestId, &m_startDateTime, &m_endDateTime, &m_requestStatus,
                   &m_userClass, &m_redispatch, &m_requestType, &m_action, &m_mirrors, &m_message,
                   &m_machineName, &m_machinePort, &m_serverStartDateTime});
}
