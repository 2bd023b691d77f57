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
        machineName = hostAndPort;
        machinePort = ColumnData::kNull;
    } else {
        machineName = hostAndPort.substr(0, colon);
        machinePort = hostAndPort.substr(colon + 1);
    }

    if (!resumeReached) {
        return true;
    }

    DispatcherTableAccess dispatcher(TableFor(kDispatcherTable));
    dispatcher.m_serverStartDateTime.SetValue(versionTimeStamp);
    dispatcher.m_machineName.SetValue(machineName);
    dispatcher.m_machinePort.SetValue(machinePort);
    dispatcher.m_timeZone.SetValue(versionTimeZone);
    dispatcher.m_qxesVersion.SetValue(versionMessage);
    dispatcher.m_logfileVersion.SetValue(std::to_string(versionNumber));
    dispatcher.m_logfileGeneration.SetValue(generalMessage);
    return dispatcher.Insert(db);
}
