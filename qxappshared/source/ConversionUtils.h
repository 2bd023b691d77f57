// Conversion of text between named character encodings, and decoding of the
// numeric character references ("&#252;") that user names carry.
//   std::string name = "M&#252;ller";
//   decodeUnicodeEscapeSequences(name, "UTF-8");   // "Müller" in UTF-8
//   UTF8DecodeString(name, "ISO-8859-1");          // now one byte for the ü
#pragma once

#include <string>

// Converts `length` bytes of `input` from one encoding to the other. The
// result goes to `output` and/or to `callback(context, converted)` (either may
// be NULL; the callback must not write into the text it is given). Equal names
// (ignoring case) copy the input up to its first NUL byte without converting.
// A negative length means the input ends at its first NUL byte. Throws
// CPPWebException 1050 when buffers or converters cannot be had.
void changeEncoding(const char* input, long length, const char* fromEncoding,
                    const char* toEncoding, std::string* output, void (*callback)(void*, char*),
                    void* context);

// Converts `text` in place. The source must not be "UTF-16" or "UCS-2":
// text in those forms holds NUL bytes that the in-place form cannot keep.
void changeStringEncoding(std::string& text, const char* fromEncoding, const char* toEncoding);

// changeStringEncoding(text, fromEncoding, "UTF-8").
void UTF8EncodeString(std::string& text, const std::string& fromEncoding);

// changeStringEncoding(text, "UTF-8", toEncoding).
void UTF8DecodeString(std::string& text, const std::string& toEncoding);

// Replaces each "&#<decimal>;" in `text` by that character in `encoding`
// ("&#x20ac;" is understood as the euro sign). A reference with no digits, the
// value 0, a surrogate or a value beyond U+10FFFF becomes "?".
void decodeUnicodeEscapeSequences(std::string& text, const std::string& encoding);
