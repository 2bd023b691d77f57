#include "markupText.h"

std::string MarkupText::escape(const std::string& text) {
    std::string escaped;
    escaped.reserve(text.size());
    for (char c : text) {
        switch (c) {
            case '&':
                escaped += "&amp;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            case '"':
                escaped += "&quot;";
                break;
            case '\'':
                escaped += "&#39;";
                break;
            default:
                escaped += c;
        }
    }
    return escaped;
}

std::string MarkupText::shorten(const std::string& text, size_t characters) {
    size_t count = 0;
    for (size_t at = 0; at < text.size(); ++at) {
        // Continuation bytes (10xxxxxx) belong to the character before them.
        if ((static_cast<unsigned char>(text[at]) & 0xC0) != 0x80 && count++ == characters) {
            return text.substr(0, at) + "\xE2\x80\xA6";
        }
    }
    return text;
}
