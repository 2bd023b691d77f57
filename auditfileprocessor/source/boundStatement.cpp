#include "boundStatement.h"

#include <utility>

void BoundStatement::addValue(Type type, bool null, std::string text) {
    m_values.push_back(Value{type, null, null ? std::string() : std::move(text)});
}

std::string BoundStatement::nextPlaceholder() const {
    return "$" + std::to_string(m_values.size() + 1);
}
