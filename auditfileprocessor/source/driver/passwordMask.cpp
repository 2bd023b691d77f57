#include "passwordMask.h"

#include <algorithm>
#include <cctype>

namespace {

const char kPassword[] = "password";
const char kPlaceholder[] = "%s";

bool IsBlank(char c) {
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

void Add(PasswordMask::Spans& spans, const std::string& text, size_t from, size_t to) {
    const std::string value = text.substr(from, to - from);
    if (to > from && value != kPlaceholder && value != "'%s'") {
        spans.emplace_back(from, to - from);
    }
}

// The end of a keyword's value that starts at `at`: a quoted value runs to
// its closing quote, a plain one to the next blank; a backslash escapes the
// character after it in both.
size_t ValueEnd(const std::string& text, size_t at) {
    const bool quoted = at < text.size() && text[at] == '\'';
    for (size_t i = quoted ? at + 1 : at; i < text.size(); ++i) {
        if (text[i] == '\\') {
            ++i;
        } else if (quoted ? text[i] == '\'' : IsBlank(text[i])) {
            return quoted ? i + 1 : i;
        }
    }
    return text.size();
}

void FindKeywordValues(const std::string& text, PasswordMask::Spans& spans) {
    size_t at = 0;
    while (at < text.size()) {
        while (at < text.size() && IsBlank(text[at])) {
            ++at;
        }
        const size_t keyword = at;
        while (at < text.size() && text[at] != '=' && !IsBlank(text[at])) {
            ++at;
        }
        const std::string name = text.substr(keyword, at - keyword);
        while (at < text.size() && IsBlank(text[at])) {
            ++at;
        }
        if (at >= text.size() || text[at] != '=') {
            continue;
        }
        ++at;
        while (at < text.size() && IsBlank(text[at])) {
            ++at;
        }
        const size_t end = ValueEnd(text, at);
        if (name == kPassword) {
            Add(spans, text, at, end);
        }
        at = end;
    }
}

void FindInUri(const std::string& text, PasswordMask::Spans& spans) {
    for (const char* scheme : {"postgresql://", "postgres://"}) {
        const size_t start = text.find(scheme);
        if (start == std::string::npos) {
            continue;
        }
        const size_t authority = start + std::char_traits<char>::length(scheme);
        const size_t at = text.find_first_of("@/?", authority);
        if (at != std::string::npos && text[at] == '@') {
            const size_t colon = text.find(':', authority);
            if (colon < at) {
                Add(spans, text, colon + 1, at);
            }
        }
        const std::string key = std::string(kPassword) + "=";
        for (size_t parameter = text.find_first_of("?&", authority); parameter != std::string::npos;
             parameter = text.find('&', parameter + 1)) {
            if (text.compare(parameter + 1, key.size(), key) == 0) {
                Add(spans, text, parameter + 1 + key.size(),
                    std::min(text.find('&', parameter + 1), text.size()));
            }
        }
        return;
    }
}

}  // namespace

PasswordMask::Spans PasswordMask::Find(const std::string& connectText) {
    Spans spans;
    FindKeywordValues(connectText, spans);
    FindInUri(connectText, spans);
    std::sort(spans.begin(), spans.end());
    return spans;
}

std::string PasswordMask::Masked(const std::string& connectText) {
    std::string masked;
    size_t copied = 0;
    for (const auto& [offset, length] : Find(connectText)) {
        if (offset >= copied) {
            masked.append(connectText, copied, offset - copied).append(kMask);
        }
        copied = std::max(copied, offset + length);
    }
    return masked.append(connectText, copied, std::string::npos);
}
