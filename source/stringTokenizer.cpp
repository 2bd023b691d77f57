#include "stringTokenizer.h"

#include <functional>
#include <utility>

StringTokenizer::StringTokenizer(const char* begin, const char* end, std::string separators,
                                 std::string escapes)
    : m_current(begin),
      m_end(end),
      m_separators(std::move(separators)),
      m_escapes(std::move(escapes)) {
    // std::less gives a total order even for pointers into different objects.
    if (begin == nullptr || end == nullptr || std::less<const char*>()(end, begin)) {
        m_current = nullptr;
        m_end = nullptr;
    }
}

bool StringTokenizer::isSeparator(char c) const {
    return m_separators.find(c) != std::string::npos;
}

bool StringTokenizer::isEscape(char c) const {
    return m_escapes.find(c) != std::string::npos;
}

std::string StringTokenizer::nextToken(Mode mode) {
    std::string token;
    while (m_current != m_end && isSeparator(*m_current)) {
        ++m_current;
    }
    while (m_current != m_end && !isSeparator(*m_current)) {
        const char c = *m_current++;
        if (mode == Plain || !isEscape(c) || m_current == m_end) {
            token += c;
            continue;
        }
        const char next = *m_current++;
        const bool collapse = ((mode == Unescape || mode == UnescapeAll) && isSeparator(next)) ||
                              ((mode == UnescapeEscapes || mode == UnescapeAll) && isEscape(next));
        if (!collapse) {
            token += c;
        }
        token += next;
    }
    return token;
}
