#include "boundStatement.h"

#include <utility>

void BoundStatement::addValue(Type type, bool null, std::string text) {
    if (m_values.empty()) {
        m_values.reserve(16);  // more than any audit table has columns
    }
    m_values.push_back(Value{type, null, null ? std::string() : std::move(text)});
}
