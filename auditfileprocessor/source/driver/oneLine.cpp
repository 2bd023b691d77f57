#include "oneLine.h"

#include <algorithm>

namespace {

// A tab ends no line, and audit lines shown in messages are tab-separated.
bool IsControl(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return (byte < 0x20 && c != '\t') || byte == 0x7f;
}

}  // namespace

std::string OneLine::Escaped(const std::string& text) {
    if (std::none_of(text.begin(), text.end(), IsControl)) {
        return text;
    }
    static const char kHex[] = "0123456789abcdef";
    std::string escaped;
    escaped.reserve(text.size() + 16);
    for (char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        switch (c) {
            case '\0':
                escaped += "\\0";
                break;
            case '\n':
                escaped += "\\n";
                break;
            case '\r':
                escaped += "\\r";
                break;
            default:
                if (IsControl(c)) {
                    escaped += {'\\', 'x', kHex[byte >> 4], kHex[byte & 0xf]};
                } else {
                    escaped += c;
                }
        }
    }
    return escaped;
}
