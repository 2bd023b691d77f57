#include "i18nConverter.h"

#include <cerrno>
#include <cstring>
#include <utility>

namespace {

const iconv_t kNoConverter = reinterpret_cast<iconv_t>(-1);
const size_t kIconvFailed = static_cast<size_t>(-1);

// "?" as one Unicode character, for bytes that are not valid in the source.
const char kUnicodeQuestionMark[I18NConverter::kUnicodeCharBytes] = {0, 0, 0, '?'};

// Collects converted bytes in the caller's buffer. Once that is full it keeps
// counting into a scratch area, so that the caller learns the size it needs.
class ByteSink {
  public:
    ByteSink(char* target, size_t size) : m_target(target), m_size(size) {}

    char* place() { return m_spilled ? m_scratch : m_target + m_used; }
    size_t room() const { return m_spilled ? sizeof m_scratch : m_size - m_used; }
    void advance(size_t count) {
        if (m_spilled) {
            m_overflow += count;
        } else {
            m_used += count;
        }
    }
    void spill() { m_spilled = true; }
    bool spilled() const { return m_spilled; }
    void put(const char* bytes, size_t count) {
        if (!m_spilled && count <= room()) {
            std::memcpy(m_target + m_used, bytes, count);
            m_used += count;
        } else {
            m_spilled = true;
            m_overflow += count;
        }
    }
    size_t used() const { return m_used; }
    size_t total() const { return m_used + m_overflow; }

  private:
    char* m_target;
    size_t m_size;
    size_t m_used = 0;
    size_t m_overflow = 0;
    bool m_spilled = false;
    char m_scratch[4096];
};

iconv_t openConverter(const char* to, const char* from) {
    return iconv_open(to, from);
}

}  // namespace

I18NConverter::I18NConverter(const std::string& encoding, I18NSubstituteCallback substitute)
    : m_encoding(encoding),
      m_toUnicode(kNoConverter),
      m_fromUnicode(kNoConverter),
      m_substitute(substitute) {
    m_toUnicode = openConverter(kUnicodeEncoding, encoding.c_str());
    m_fromUnicode = openConverter(encoding.c_str(), kUnicodeEncoding);
    if (!isOpen()) {
        close();
        m_encoding = kFallbackEncoding;
        m_toUnicode = openConverter(kUnicodeEncoding, kFallbackEncoding);
        m_fromUnicode = openConverter(kFallbackEncoding, kUnicodeEncoding);
    }
}

I18NConverter::~I18NConverter() {
    close();
}

I18NConverter::I18NConverter(I18NConverter&& other) noexcept
    : m_encoding(std::move(other.m_encoding)),
      m_toUnicode(std::exchange(other.m_toUnicode, kNoConverter)),
      m_fromUnicode(std::exchange(other.m_fromUnicode, kNoConverter)),
      m_substitute(other.m_substitute) {}

I18NConverter& I18NConverter::operator=(I18NConverter&& other) noexcept {
    if (this != &other) {
        close();
        m_encoding = std::move(other.m_encoding);
        m_toUnicode = std::exchange(other.m_toUnicode, kNoConverter);
        m_fromUnicode = std::exchange(other.m_fromUnicode, kNoConverter);
        m_substitute = other.m_substitute;
    }
    return *this;
}

bool I18NConverter::isOpen() const {
    return m_toUnicode != kNoConverter && m_fromUnicode != kNoConverter;
}

void I18NConverter::close() {
    if (m_toUnicode != kNoConverter) {
        iconv_close(m_toUnicode);
        m_toUnicode = kNoConverter;
    }
    if (m_fromUnicode != kNoConverter) {
        iconv_close(m_fromUnicode);
        m_fromUnicode = kNoConverter;
    }
}

size_t I18NConverter::toUnicode(char* target, size_t targetSize, const char* source, size_t length,
                                int* status, size_t* needed) {
    return convert(m_toUnicode, true, target, targetSize, source, length, status, needed);
}

size_t I18NConverter::fromUnicode(char* target, size_t targetSize, const char* unicode,
                                  size_t length, int* status, size_t* needed) {
    return convert(m_fromUnicode, false, target, targetSize, unicode, length, status, needed);
}

std::string I18NConverter::fromCodePoint(uint32_t codePoint) {
    bool isCharacter =
        codePoint != 0 && codePoint <= 0x10FFFF && (codePoint < 0xD800 || codePoint > 0xDFFF);
    if (!isCharacter) {
        codePoint = '?';
    }
    const char unicode[kUnicodeCharBytes] = {
        static_cast<char>(codePoint >> 24), static_cast<char>((codePoint >> 16) & 0xFF),
        static_cast<char>((codePoint >> 8) & 0xFF), static_cast<char>(codePoint & 0xFF)};
    // One character with any shift sequences and byte-order mark fits easily.
    char bytes[64];
    int status = kI18NOk;
    size_t needed = 0;
    size_t count = fromUnicode(bytes, sizeof bytes, unicode, sizeof unicode, &status, &needed);
    if (status != kI18NOk) {
        return "?";
    }
    return std::string(bytes, count);
}

size_t I18NConverter::convert(iconv_t converter, bool intoUnicode, char* target, size_t targetSize,
                              const char* source, size_t length, int* status, size_t* needed) {
    ByteSink sink(target, targetSize);
    if (converter == kNoConverter) {
        *status = kI18NOk;
        *needed = 0;
        if (targetSize >= kTerminatorBytes) {
            std::memset(target, 0, kTerminatorBytes);
        }
        return 0;
    }
    // Invalid input skips one byte, or one whole character of Unicode input,
    // so that every round either consumes input or ends the loop.
    const size_t badInputStep = intoUnicode ? 1 : kUnicodeCharBytes;
    iconv(converter, nullptr, nullptr, nullptr, nullptr);
    char* in = const_cast<char*>(source);
    size_t left = source == nullptr ? 0 : length;
    while (left > 0) {
        char* out = sink.place();
        size_t room = sink.room();
        const size_t roomBefore = room;
        const size_t leftBefore = left;
        size_t result = iconv(converter, &in, &left, &out, &room);
        sink.advance(roomBefore - room);
        if (result != kIconvFailed) {
            break;
        }
        int error = errno;
        if (error == E2BIG) {
            if (sink.spilled() && room == roomBefore && left == leftBefore) {
                break;  // not even scratch space helps: give up rather than spin
            }
            sink.spill();
            continue;
        }
        if (intoUnicode) {
            sink.put(kUnicodeQuestionMark, sizeof kUnicodeQuestionMark);
        } else {
            char substitute[kMaxSubstituteBytes] = {'?'};
            int substituteLength = 1;
            if (m_substitute != nullptr) {
                m_substitute(substitute, &substituteLength);
            }
            if (substituteLength < 0 || substituteLength > kMaxSubstituteBytes) {
                substituteLength = 0;
            }
            sink.put(substitute, static_cast<size_t>(substituteLength));
        }
        if (error == EINVAL) {
            break;  // an incomplete character at the end of the input
        }
        size_t skip = badInputStep < left ? badInputStep : left;
        in += skip;
        left -= skip;
    }
    // Return a stateful target to its initial shift state.
    for (;;) {
        char* out = sink.place();
        size_t room = sink.room();
        const size_t roomBefore = room;
        size_t result = iconv(converter, nullptr, nullptr, &out, &room);
        sink.advance(roomBefore - room);
        if (result == kIconvFailed && errno == E2BIG && !sink.spilled()) {
            sink.spill();
            continue;
        }
        break;
    }

    if (sink.spilled()) {
        *status = kI18NBufferOverflow;
        *needed = sink.total() + kTerminatorBytes;
    } else if (targetSize - sink.used() < kTerminatorBytes) {
        *status = kI18NNotTerminated;
        *needed = sink.used() + kTerminatorBytes;
    } else {
        std::memset(target + sink.used(), 0, kTerminatorBytes);
        *status = kI18NOk;
        *needed = sink.used() + kTerminatorBytes;
    }
    return sink.used();
}
