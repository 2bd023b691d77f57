#include "boundStatement.h"

#include <utility>

std::string& BoundStatement::addValue(Type type, bool null, const std::string& text) {
    if (m_values.empty()) {
        m_values.reserve(16);  // more than any audit table has columns
    }
    m_values.push_back(Value{type, null, null ? std::string() : text});
    return m_values.back().text;
}
