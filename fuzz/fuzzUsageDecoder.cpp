// Fuzz target: the usage blob decoder. The input holds the three parallel
// texts of one request (codes, names, counts) separated by newlines; the last
// text runs to the end of the input and may hold newlines of its own.
//
// Unequal shapes and empty texts are refused with KRLAssertError, as specified.
// A blob that is taken must keep its shape when decoded against itself, and
// must render as XML.
#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>
#include <vector>

#include "fuzzSupport.h"
#include "qxdsUsageInfoHelper.h"

namespace {

using UsageArray = std::vector<std::vector<CodeNameValueTuple>>;

// Cuts the next text off the front of rest, up to its first newline.
std::string TakeLine(std::string& rest) {
    const std::string::size_type end = rest.find('\n');
    std::string line = rest.substr(0, end);
    rest = end == std::string::npos ? std::string() : rest.substr(end + 1);
    return line;
}

// The shape of a taken blob depends only on each text's own separators, so the
// codes text decoded as all three texts gives the same records and fields, with
// every tuple made of one token three times.
void CheckSelfDecoding(const std::string& codes, const UsageArray& usage) {
    UsageArray self;
    try {
        qxdsUsageInfoHelper::buildUsageArray(codes, codes, codes, self);
    } catch (const std::exception& failure) {
        fuzzSupport::Fail(std::string("a taken codes text is refused against itself: ") +
                          failure.what());
    }
    if (self.size() != usage.size()) {
        fuzzSupport::Fail("self-decoding changes the number of records");
    }
    for (size_t record = 0; record < self.size(); ++record) {
        if (self[record].size() != usage[record].size()) {
            fuzzSupport::Fail("self-decoding changes the fields of record " +
                              std::to_string(record));
        }
        for (size_t field = 0; field < self[record].size(); ++field) {
            const CodeNameValueTuple& tuple = self[record][field];
            if (tuple.code != usage[record][field].code || tuple.name != tuple.code ||
                tuple.value != tuple.code) {
                fuzzSupport::Fail("self-decoding changes a token");
            }
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzzSupport::SilenceMessages();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string rest(reinterpret_cast<const char*>(data), size);
    const std::string codes = TakeLine(rest);
    const std::string names = TakeLine(rest);
    const std::string& counts = rest;

    UsageArray usage;
    try {
        qxdsUsageInfoHelper::buildUsageArray(codes, names, counts, usage);
    } catch (const std::exception&) {
        return 0;  // refused blob: KRLAssertError
    }
    CheckSelfDecoding(codes, usage);
    if (!usage.empty()) {
        std::string xml;
        qxdsUsageInfoHelper::generateUsageArrayAsXMLFragment(usage, xml);
    }
    return 0;
}
