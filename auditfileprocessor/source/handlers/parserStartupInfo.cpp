// The server's start-up record: where the server runs, and one dispatcher row
// that ties it to the version and general records read before it.
#include <cstring>
#include <string>
#include <vector>

#include "auditSupport.h"
#include "checkedLine.h"
#include "columnData.h"
#include "dispatcherTableAccess.h"
#include "krlAssertError.h"
#include "parser.h"

using AuditSupport::message;
using AuditSupport::msg_format;

bool Parser::ParseStartupInfo(const std::vector<std::string>& fields) {
    const CheckedLine line(fields);
    // clang-format off
    KRL_ASSERT(0 == strcmp( line[ msg_format ].c_str(), AuditSupport::GetFormat( AuditSupport::kSRV ) ), "auditfileprocessor/source/parser", 509);
    // clang-format on

    // The machine and port are remembered even for lines already loaded: the
    // request lines that follow refer to this server instance.
    const std::string& hostAndPort = line[message];
    const std::string::size_type colon = hostAndPort.find(':');
    if (colon == std::string::npos) {
        m_server.machineName = hostAndPort;
        m_server.machinePort = ColumnData::kNull;
    } else {
        m_server.machineName = hostAndPort.substr(0, colon);
        m_server.machinePort = hostAndPort.substr(colon + 1);
    }

    if (!resumeReached) {
        return true;
    }

    DispatcherTableAccess dispatcher(TableFor(kDispatcherTable));
    dispatcher.m_serverStartDateTime.SetValue(m_server.versionTimeStamp);
    dispatcher.m_machineName.SetValue(m_server.machineName);
    dispatcher.m_machinePort.SetValue(m_server.machinePort);
    dispatcher.m_timeZone.SetValue(m_server.versionTimeZone);
    dispatcher.m_qxesVersion.SetValue(m_server.versionMessage);
    dispatcher.m_logfileVersion.SetValue(std::to_string(m_server.versionNumber));
    dispatcher.m_logfileGeneration.SetValue(m_server.generalMessage);
    return dispatcher.Insert(db);
}
