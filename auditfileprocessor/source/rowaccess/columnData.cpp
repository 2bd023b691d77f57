#include "columnData.h"

#include <utility>

#include "krlAssertError.h"

const std::string ColumnData::kNull = "NULL";

ColumnData::ColumnData(std::string name, ColumnType type, ColumnKey key)
    : m_name(std::move(name)), m_type(type), m_key(key), m_value(kNull) {}

ColumnData& ColumnData::operator=(const ColumnData& rhs) {
    // A row is copied position by position; a mismatch means the two rows do
    // not describe the same table.
    KRL_ASSERT(m_name == rhs.m_name, "auditfileprocessor/source/columnData", __LINE__);
    KRL_ASSERT(m_type == rhs.m_type, "auditfileprocessor/source/columnData", __LINE__);
    KRL_ASSERT(m_key == rhs.m_key, "auditfileprocessor/source/columnData", __LINE__);
    m_value = rhs.m_value;
    return *this;
}

bool ColumnData::operator==(const ColumnData& rhs) const {
    return m_name == rhs.m_name && m_type == rhs.m_type && m_key == rhs.m_key;
}
