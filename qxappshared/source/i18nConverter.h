// Converts text between one named encoding and the Unicode form that
// converters hand to each other (UTF-32, big-endian, four bytes a character),
// over the C library's iconv. A name iconv does not know falls back to UTF-8.
// Bytes that are not valid in the source become "?"; characters that the
// target cannot represent are replaced by what the substitution callback gives.
//   I18NConverter latin1("ISO-8859-1", [](char* s, int* n) { s[0] = '?'; *n = 1; });
//   int status = kI18NOk;
//   size_t needed = 0;
//   size_t n = latin1.toUnicode(buffer, sizeof buffer, "caf\xe9", 4, &status, &needed);
#pragma once

#include <iconv.h>

#include <cstddef>
#include <cstdint>
#include <string>

// Outcome of a conversion. The two "too small" codes tell the caller to grow
// its buffer to the size reported and convert again.
enum I18NStatus : int {
    kI18NOk = 0,
    kI18NBufferOverflow = -9,  // the converted text does not fit
    kI18NNotTerminated = -11,  // the text fits but its terminator does not
};

// Writes the bytes that stand for an unrepresentable character into
// `substitute` (room for I18NConverter::kMaxSubstituteBytes) and their count
// into `length`.
using I18NSubstituteCallback = void (*)(char* substitute, int* length);

class I18NConverter {
  public:
    // The encoding that Unicode text has between two converters.
    static constexpr const char* kUnicodeEncoding = "UTF-32BE";
    static constexpr size_t kUnicodeCharBytes = 4;
    // Converted text is followed by this many NUL bytes, enough to end text of
    // any code unit width.
    static constexpr size_t kTerminatorBytes = 4;
    static constexpr int kMaxSubstituteBytes = 8;
    // The encoding used for names that iconv does not know.
    static constexpr const char* kFallbackEncoding = "UTF-8";

    // Opens both directions for `encoding`; isOpen() tells whether that worked.
    I18NConverter(const std::string& encoding, I18NSubstituteCallback substitute);
    ~I18NConverter();
    I18NConverter(const I18NConverter&) = delete;
    I18NConverter& operator=(const I18NConverter&) = delete;
    I18NConverter(I18NConverter&& other) noexcept;
    I18NConverter& operator=(I18NConverter&& other) noexcept;

    bool isOpen() const;
    // The encoding really used: the requested name or the fallback.
    const std::string& encoding() const { return m_encoding; }

    // Converts `length` bytes of `source` into Unicode in `target`. Returns the
    // bytes written (terminator excluded); `status` is kI18NOk or one of the
    // "too small" codes, with `needed` the buffer size that would have sufficed.
    size_t toUnicode(char* target, size_t targetSize, const char* source, size_t length,
                     int* status, size_t* needed);
    // The reverse: Unicode text of `length` bytes into this encoding.
    size_t fromUnicode(char* target, size_t targetSize, const char* unicode, size_t length,
                       int* status, size_t* needed);
    // The bytes of one character in this encoding; a value that is no Unicode
    // character is taken as "?".
    std::string fromCodePoint(uint32_t codePoint);

  private:
    void close();
    size_t convert(iconv_t converter, bool intoUnicode, char* target, size_t targetSize,
                   const char* source, size_t length, int* status, size_t* needed);

    std::string m_encoding;
    // Both are (iconv_t)-1 while closed.
    iconv_t m_toUnicode;
    iconv_t m_fromUnicode;
    I18NSubstituteCallback m_substitute;
};
