// The dispatch of one split line to the handler for its type, component and
// message format, and the version and general lines that the parser keeps.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "auditLineCheck.h"
#include "auditSupport.h"
#include "krlAssertError.h"
#include "messenger.h"
#include "parser.h"

namespace {

using AuditSupport::GetComponent;
using AuditSupport::GetFormat;

// The field at that position, or an empty text when the line is shorter.
const std::string& FieldAt(const std::vector<std::string>& fields, size_t position) {
    static const std::string kAbsent;
    return position < fields.size() ? fields[position] : kAbsent;
}

bool StartsWith(const std::vector<std::string>& fields, char type) {
    return !fields.empty() && !fields.front().empty() && fields.front().front() == type;
}

// The decimal value at the start of text, held to 32 bits; 0 when there is none.
int32_t DecimalValue(const std::string& text) {
    const long long value = std::strtoll(text.c_str(), nullptr, 10);
    if (value > INT32_MAX) {
        return INT32_MAX;
    }
    if (value < INT32_MIN) {
        return INT32_MIN;
    }
    return static_cast<int32_t>(value);
}

std::string UnknownComponent(const std::string& component, const char* record) {
    return "unknown component \"" + component + "\" in field " +
           std::to_string(AuditSupport::component_id + 1) + " of " + record;
}

}  // namespace

void Parser::ChangeLineState(std::vector<std::string>& fields) {
    const char type = fields.empty() || fields.front().empty() ? '\0' : fields.front().front();
    switch (type) {
        case 'U':
            lineState = kLineUsage;
            break;
        case 'V':
            lineState = kLineVersion;
            break;
        case 'E':
            lineState = kLineError;
            break;
        case 'G':
            lineState = kLineGeneral;
            break;
        case 'I':
            lineState = kLineInfo;
            break;
        default:
            lineState = kLineNone;
            break;
    }
}

bool Parser::ParseLine(std::vector<std::string>& fields) {
    if (fields.empty()) {
        return true;  // a blank line
    }
    ChangeLineState(fields);
    // Handlers read the fixed fields by position, and may write some rows of a
    // line before another is refused: a short or malformed record line is
    // refused before any of them runs.
    const bool isRecord =
        lineState == kLineUsage || lineState == kLineError || lineState == kLineInfo;
    if (isRecord && fields.size() < AuditLineCheck::kFixedFieldCount) {
        return Refuse("the line has " + std::to_string(fields.size()) + " fields, fewer than the " +
                      std::to_string(AuditLineCheck::kFixedFieldCount) + " of every record");
    }
    if (isRecord) {
        std::string malformed = AuditLineCheck::WhyMalformed(fields);
        if (!malformed.empty()) {
            return Refuse(std::move(malformed));
        }
    }
    switch (lineState) {
        case kLineUsage:
            return ParseUsage(fields);
        case kLineVersion:
            return ParseVersion(fields);
        case kLineError:
            return ParseError(fields);
        case kLineGeneral:
            return ParseGeneral(fields);
        case kLineInfo:
            return ParseInfo(fields);
        case kLineNone:
            break;
    }
    return Refuse("the line type " + fields.front().substr(0, 1) + " is none of V, G, I, E and U");
}

bool Parser::ParseVersion(std::vector<std::string>& fields) {
    if (!StartsWith(fields, 'V')) {
        m_server.versionNumber = -1;
        fileDisposable = false;
        Messenger::Get().DisplayMessage(29, currentFile, "-1");
        return false;
    }
    m_server.versionNumber = DecimalValue(FieldAt(fields, AuditSupport::msg_format));
    m_server.versionMessage = FieldAt(fields, AuditSupport::message);
    m_server.versionTimeStamp = FieldAt(fields, AuditSupport::time_stamp);
    FixupDateTime(m_server.versionTimeStamp);
    m_server.versionTimeZone = FieldAt(fields, AuditSupport::time_zone);
    lineState = kLineVersion;
    return true;
}

bool Parser::ParseGeneral(std::vector<std::string>& fields) {
    if (!StartsWith(fields, 'G')) {
        return false;
    }
    m_server.generalMessage = FieldAt(fields, AuditSupport::message);
    return true;
}

bool Parser::ParseError(std::vector<std::string>& fields) {
    if (!StartsWith(fields, 'E')) {
        return false;
    }
    const std::string& component = FieldAt(fields, AuditSupport::component_id);
    if (component == GetComponent(AuditSupport::kQXRQ)) {
        return ParseRequestError(fields);
    }
    if (component == GetComponent(AuditSupport::kQXPB)) {
        return ParseTarvelError(fields);
    }
    Explain(UnknownComponent(component, "an error record"));
    KRL_ASSERT(FALSE, "auditfileprocessor/source/parser", 461);
    return false;
}

bool Parser::ParseInfo(std::vector<std::string>& fields) {
    if (!StartsWith(fields, 'I')) {
        return false;
    }
    const std::string& component = FieldAt(fields, AuditSupport::component_id);
    const std::string& format = FieldAt(fields, AuditSupport::msg_format);
    if (format == GetFormat(AuditSupport::kQXUI)) {
        return true;  // nothing of it is kept
    }
    if (component == GetComponent(AuditSupport::kQXES)) {
        if (format == GetFormat(AuditSupport::kSRV)) {
            return ParseStartupInfo(fields);
        }
        return ParseAdminInfo(fields);
    }
    if (component == GetComponent(AuditSupport::kQXDS)) {
        if (format == GetFormat(AuditSupport::kUSR) || format == GetFormat(AuditSupport::kUC)) {
            return ParseUserInfo(fields);
        }
        return ParseRemoteRequestInfo(fields);
    }
    if (component == GetComponent(AuditSupport::kQXRQ)) {
        return ParseRequestInfo(fields);
    }
    if (component == GetComponent(AuditSupport::kQXPB)) {
        return ParseTarvelInfo(fields);
    }
    Explain(UnknownComponent(component, "an information record"));
    KRL_ASSERT(FALSE, "auditfileprocessor/source/parser", 498);
    return false;
}
