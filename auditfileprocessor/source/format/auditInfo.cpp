#include "auditInfo.h"

#include <string>

#include "attributeTree.h"

namespace {

// Attribute keys of a stored record, in the order they are written.
const char kType[] = "type";
const char kTimeStamp[] = "time_stamp";
const char kTimeZone[] = "time_zone";
const char kDifferenceFromGMT[] = "difference_from_GMT";
const char kSessionId[] = "session_id";
const char kRequestId[] = "request_id";
const char kComponentId[] = "component_id";
const char kMessageFormat[] = "message_format";
const char kMessage[] = "message";
const char kRecordPrefix[] = "a";

void readAttribute(const AttributeTree& tree, const char* key, std::string& field) {
    if (const std::string* value = tree.getAttribute(key)) {
        field = *value;
    }
}

}  // namespace

AuditInfo::AuditInfo(unsigned char* context) : m_context(context) {}

AuditInfo::~AuditInfo() {
    EraseAuditInfo();
}

void AuditInfo::addAuditRecord(AuditRecord& record) {
    m_records.push_back(record);
}

void AuditInfo::EraseAuditInfo() {
    m_records.clear();
}

void AuditInfo::Store(AttributeTree* tree) {
    size_t index = 0;
    for (const AuditRecord& record : m_records) {
        AttributeTree child(kRecordPrefix + std::to_string(index));
        child.insertAttribute(kType, AuditSupport::GetType(record.type));
        child.insertAttribute(kTimeStamp, record.time_stamp);
        child.insertAttribute(kTimeZone, record.time_zone);
        child.insertAttribute(kDifferenceFromGMT, record.difference_from_GMT);
        child.insertAttribute(kSessionId, record.session_id);
        child.insertAttribute(kRequestId, record.request_id);
        child.insertAttribute(kComponentId, AuditSupport::GetComponent(record.component_id));
        child.insertAttribute(kMessageFormat, AuditSupport::GetFormat(record.message_format));
        child.insertAttribute(kMessage, record.message);
        tree->insertTree(std::move(child));
        ++index;
    }
}

void AuditInfo::Load(AttributeTree* tree) {
    for (const AttributeTree& child : tree->children()) {
        AuditRecord record;
        if (const std::string* value = child.getAttribute(kType)) {
            record.type = AuditSupport::GetTypeCode(*value);
        }
        readAttribute(child, kTimeStamp, record.time_stamp);
        readAttribute(child, kTimeZone, record.time_zone);
        readAttribute(child, kDifferenceFromGMT, record.difference_from_GMT);
        readAttribute(child, kSessionId, record.session_id);
        readAttribute(child, kRequestId, record.request_id);
        if (const std::string* value = child.getAttribute(kComponentId)) {
            record.component_id = AuditSupport::GetComponentCode(*value);
        }
        if (const std::string* value = child.getAttribute(kMessageFormat)) {
            record.message_format = AuditSupport::GetFormatCode(*value);
        }
        readAttribute(child, kMessage, record.message);
        m_records.push_back(record);
    }
}
