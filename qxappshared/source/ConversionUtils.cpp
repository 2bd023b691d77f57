#include "ConversionUtils.h"

#include <strings.h>

#include <cstring>

#include "changeEncodingUtils.h"
#include "conversionError.h"
#include "krlAssertError.h"

namespace {

const char kSourceFile[] = "qxappshared/source/ConversionUtils";

// strcasecmp: 0 when the two names are equal ignoring ASCII case.
int compareNoCase(const char* left, const char* right) {
    return strcasecmp(left, right);
}

// Runs a conversion that reports "buffer too small" again with a larger
// buffer until it fits; the buffers only ever grow, in whole steps.
template <typename Convert>
size_t convertGrowing(ChangeEncodingUtilsData* data, conversionBuffer* buffer, Convert convert) {
    for (;;) {
        int status = kI18NOk;
        size_t needed = 0;
        size_t length = convert(buffer->data.get(), buffer->size, &status, &needed);
        if (status != kI18NBufferOverflow && status != kI18NNotTerminated) {
            return length;
        }
        data->increaseBuffer(buffer, needed);
    }
}

// Decodes numeric character references with the same outcome as replacing the
// first reference of the text and searching again from the start until none
// is left, but in one pass: the text before the first "&#" never changes, so
// the search resumes there (one byte earlier, where an "&" may meet a decoded
// "#"). The text is held as: `m_settled` (no "&#" in it), then the decoded
// bytes still to scan (`m_pending`, stored back to front), then the unread
// rest of the input.
class ReferenceDecoder {
  public:
    ReferenceDecoder(const std::string& text, I18NConverter& converter)
        : m_source(text), m_converter(converter) {
        m_settled.reserve(text.size());
    }

    std::string run() {
        // With every known encoding a replacement removes more "&", "#" and ";"
        // than its character can bring back, so the count of replacements is
        // below the input's length; the cap only guards against exotic
        // converters that would otherwise chain without end.
        size_t replacementsLeft = m_source.size();
        while (!atEnd()) {
            if (peek(0) != '&' || peek(1) != '#') {
                take();
                continue;
            }
            size_t semicolon = findSemicolon(2);
            if (semicolon == std::string::npos || replacementsLeft == 0) {
                break;
            }
            --replacementsLeft;
            std::string decoded = m_converter.fromCodePoint(readCodePoint(semicolon));
            drop(semicolon + 1);
            m_pending.append(decoded.rbegin(), decoded.rend());
            if (!m_settled.empty() && m_settled.back() == '&') {
                m_settled.pop_back();
                m_pending.push_back('&');
            }
        }
        m_settled.append(m_pending.rbegin(), m_pending.rend());
        m_settled.append(m_source, m_position, std::string::npos);
        return std::move(m_settled);
    }

  private:
    bool atEnd() const { return m_pending.empty() && m_position >= m_source.size(); }

    // The character `index` places into the unsettled text, or NUL past its end.
    char peek(size_t index) const {
        if (index < m_pending.size()) {
            return m_pending[m_pending.size() - 1 - index];
        }
        size_t at = m_position + (index - m_pending.size());
        return at < m_source.size() ? m_source[at] : '\0';
    }

    void take() {
        if (!m_pending.empty()) {
            m_settled.push_back(m_pending.back());
            m_pending.pop_back();
        } else {
            m_settled.push_back(m_source[m_position++]);
        }
    }

    void drop(size_t count) {
        size_t fromPending = count < m_pending.size() ? count : m_pending.size();
        m_pending.resize(m_pending.size() - fromPending);
        m_position += count - fromPending;
    }

    // Index of the first ";" at or after `from` in the unsettled text. The
    // search ends where a found reference ends, and that text is consumed, so
    // the searches add up to one pass.
    size_t findSemicolon(size_t from) const {
        for (size_t index = from; index < m_pending.size(); ++index) {
            if (m_pending[m_pending.size() - 1 - index] == ';') {
                return index;
            }
        }
        size_t start = m_position + (from > m_pending.size() ? from - m_pending.size() : 0);
        size_t found = m_source.find(';', start);
        if (found == std::string::npos) {
            return std::string::npos;
        }
        return m_pending.size() + (found - m_position);
    }

    // The decimal digits right after "&#"; 0 when there are none or the value
    // is beyond any character.
    uint32_t readCodePoint(size_t semicolon) const {
        uint32_t value = 0;
        bool anyDigit = false;
        for (size_t index = 2; index < semicolon; ++index) {
            char digit = peek(index);
            if (digit < '0' || digit > '9') {
                break;
            }
            anyDigit = true;
            value = value * 10 + static_cast<uint32_t>(digit - '0');
            if (value > 0x10FFFF) {
                return 0;
            }
        }
        return anyDigit ? value : 0;
    }

    const std::string& m_source;
    I18NConverter& m_converter;
    size_t m_position = 0;
    std::string m_pending;
    std::string m_settled;
};

}  // namespace

void changeEncoding(const char* input, long length, const char* fromEncoding,
                    const char* toEncoding, std::string* output, void (*callback)(void*, char*),
                    void* context) {
    if (input == nullptr) {
        input = "";
        length = 0;
    }
    if (compareNoCase(fromEncoding, toEncoding) == 0) {
        if (output != nullptr) {
            // The input may be the output's own text (in-place conversion).
            if (input == output->c_str()) {
                output->resize(std::strlen(input));
            } else {
                output->assign(input);
            }
        }
        if (callback != nullptr) {
            callback(context, const_cast<char*>(input));
        }
        return;
    }

    ChangeEncodingUtilsData* data = ChangeEncodingUtils::getDataInstance();
    if (data == nullptr) {
        throwConversionError("ChangeEncodingUtils::getDataInstance() returned NULL", 226,
                             "changeEncoding");
    }
    I18NConverter* source = data->getI18NConverter(fromEncoding);
    I18NConverter* target = data->getI18NConverter(toEncoding);
    if (source == nullptr || target == nullptr) {
        throwConversionError("ChangeEncodingUtilsData::getI18NConverter() returned NULL", 234,
                             "changeEncoding");
    }
    conversionBuffer* unicode = nullptr;
    conversionBuffer* converted = nullptr;
    data->getBuffers(&unicode, &converted);
    if (unicode == nullptr || converted == nullptr) {
        throwConversionError("ChangeEncodingUtilsData::getBuffers() returned NULLs", 243,
                             "changeEncoding");
    }

    size_t inputLength = length < 0 ? std::strlen(input) : static_cast<size_t>(length);
    size_t unicodeLength =
        convertGrowing(data, unicode, [&](char* buffer, size_t size, int* status, size_t* needed) {
            return source->toUnicode(buffer, size, input, inputLength, status, needed);
        });
    convertGrowing(data, converted, [&](char* buffer, size_t size, int* status, size_t* needed) {
        return target->fromUnicode(buffer, size, unicode->data.get(), unicodeLength, status,
                                   needed);
    });

    if (output != nullptr) {
        output->assign(converted->data.get());
    }
    if (callback != nullptr) {
        callback(context, converted->data.get());
    }
}

void changeStringEncoding(std::string& text, const char* fromEncoding, const char* toEncoding) {
    // clang-format off
    KRL_ASSERT(compareNoCase(fromEncoding,"UTF-16") != 0, kSourceFile, 282);
    KRL_ASSERT(compareNoCase(fromEncoding,"UCS-2") != 0, kSourceFile, 285);
    // clang-format on
    changeEncoding(text.c_str(), static_cast<long>(text.size()), fromEncoding, toEncoding, &text,
                   nullptr, nullptr);
}

void UTF8EncodeString(std::string& text, const std::string& fromEncoding) {
    changeStringEncoding(text, fromEncoding.c_str(), "UTF-8");
}

void UTF8DecodeString(std::string& text, const std::string& toEncoding) {
    changeStringEncoding(text, "UTF-8", toEncoding.c_str());
}

void decodeUnicodeEscapeSequences(std::string& text, const std::string& encoding) {
    // Only the euro sign is understood in hexadecimal; it becomes its decimal
    // form first. A replacement cannot form a new hexadecimal euro, so one
    // pass gives the same text as replacing and searching again.
    static const std::string kHexEuro = "&#x20ac;";
    size_t at = text.find(kHexEuro);
    if (at != std::string::npos) {
        std::string replaced;
        replaced.reserve(text.size());
        size_t from = 0;
        for (; at != std::string::npos; at = text.find(kHexEuro, from)) {
            replaced.append(text, from, at - from).append("&#8364;");
            from = at + kHexEuro.size();
        }
        replaced.append(text, from, std::string::npos);
        text.swap(replaced);
    }

    size_t reference = text.find("&#");
    if (reference == std::string::npos || text.find(';', reference) == std::string::npos) {
        return;
    }
    ChangeEncodingUtilsData* data = ChangeEncodingUtils::getDataInstance();
    if (data == nullptr) {
        throwConversionError("ChangeEncodingUtils::getDataInstance() returned NULL", 338,
                             "decodeUnicodeEscapeSequences");
    }
    I18NConverter* converter = data->getI18NConverter(encoding);
    if (converter == nullptr) {
        throwConversionError("ChangeEncodingUtilsData::getI18NConverter() returned NULL", 340,
                             "decodeUnicodeEscapeSequences");
    }
    text = ReferenceDecoder(text, *converter).run();
}
