#include "stringTokenizer.h"

#include <functional>

StringTokenizer::StringTokenizer(const char* begin, const char* end, const std::string& separators,
                                 const std::string& escapes)
    : m_current(begin), m_end(end) {
    // std::less gives a total order even for pointers into different objects.
    if (begin == nullptr || end == nullptr || std::less<const char*>()(end, begin)) {
        m_current = nullptr;
        m_end = nullptr;
    }
    for (char c : separators) {
        m_isSeparator[static_cast<unsigned char>(c)] = true;
    }
    for (char c : escapes) {
        m_isEscape[static_cast<unsigned char>(c)] = true;
    }
}

std::string StringTokenizer::nextToken(Mode mode) {
    while (m_current != m_end && isSeparator(*m_current)) {
        ++m_current;
    }
    std::string token;
    // Characters kept as they are since the last escape pair, copied in one piece.
    const char* run = m_current;
    while (m_current != m_end && !isSeparator(*m_current)) {
        if (mode == Plain || !isEscape(*m_current) || m_current + 1 == m_end) {
            ++m_current;
            continue;
        }
        const char next = m_current[1];
        const bool collapse = ((mode == Unescape || mode == UnescapeAll) && isSeparator(next)) ||
                              ((mode == UnescapeEscapes || mode == UnescapeAll) && isEscape(next));
        if (collapse) {
            token.append(run, m_current);
            token += next;
        } else {
            token.append(run, m_current + 2);
        }
        m_current += 2;
        run = m_current;
    }
    token.append(run, m_current);
    return token;
}
