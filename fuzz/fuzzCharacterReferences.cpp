// Fuzz target: decoding of numeric character references in user names, into
// UTF-8 and into a single-byte encoding, followed by the conversion the user
// name then goes through when written in another encoding.
//
// Every reference is longer than the UTF-8 bytes that replace it ("&#1;" gives
// one byte, "&#65536;" four), so decoding into UTF-8 never lengthens a text;
// that is also what guarantees that the search from the start must end.
#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>

#include "ConversionUtils.h"
#include "cppWebException.h"
#include "fuzzSupport.h"

namespace {

const char* const kEncodings[] = {"UTF-8", "ISO-8859-1"};

void DecodeInto(const std::string& input, const char* encoding) {
    std::string text = input;
    try {
        decodeUnicodeEscapeSequences(text, encoding);
    } catch (const CPPWebException&) {
        return;  // converter unavailable: specified refusal
    }
    if (std::string(encoding) == "UTF-8") {
        if (text.size() > input.size()) {
            fuzzSupport::Fail("decoding into UTF-8 lengthened the text from " +
                              std::to_string(input.size()) + " to " + std::to_string(text.size()));
        }
        // Not every decoded text is valid UTF-8 (the input need not be); the
        // converter must cope either way.
        try {
            UTF8DecodeString(text, "ISO-8859-1");
        } catch (const CPPWebException&) {
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzzSupport::SilenceMessages();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    for (const char* encoding : kEncodings) {
        DecodeInto(input, encoding);
    }
    return 0;
}
