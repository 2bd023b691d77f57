#include "qxdsUsageInfoHelper.h"

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "krlAssertError.h"
#include "stringTokenizer.h"

namespace {

const char* const kSourceFile = "source/qxdsUsageInfoHelper";
// Where the assertions that the three texts run out together are reported.
const int kFieldsExhaustedLine = 77;
const int kRecordsExhaustedLine = 82;

StringTokenizer tokenizerOver(const std::string& text, const char* separator) {
    return StringTokenizer(text.data(), text.data() + text.size(), separator,
                           qxdsUsageInfoHelper::kEsc);
}

// A CDATA section cannot hold "]]>", so the value is cut there into two sections.
std::string cdataSafe(const std::string& value) {
    std::string out;
    std::size_t from = 0;
    for (std::size_t at = value.find("]]>"); at != std::string::npos;
         at = value.find("]]>", from)) {
        out.append(value, from, at - from);
        out += "]]]]><![CDATA[>";
        from = at + 3;
    }
    out.append(value, from, std::string::npos);
    return out;
}

// Counts are written as element text, where markup characters must be entities.
std::string textSafe(const std::string& value) {
    std::string out;
    for (char c : value) {
        switch (c) {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            default:
                out += c;
        }
    }
    return out;
}

void appendFilled(std::string& xml, const char* pattern, const std::string& value) {
    std::string text(pattern);
    const std::size_t at = text.find("%0");
    if (at != std::string::npos) {
        text.replace(at, 2, value);
    }
    xml += text;
}

}  // namespace

void qxdsUsageInfoHelper::buildUsageArray(
    const std::string& code, const std::string& name, const std::string& data,
    std::vector<std::vector<CodeNameValueTuple>>& usageArray) {
    KRL_ASSERT(!code.empty(), kSourceFile, 50);
    KRL_ASSERT(!name.empty(), kSourceFile, 51);
    KRL_ASSERT(!data.empty(), kSourceFile, 52);
    KRL_ASSERT(usageArray.empty(), kSourceFile, 54);

    StringTokenizer codeRecordTokenizer = tokenizerOver(code, kRS);
    StringTokenizer nameRecordTokenizer = tokenizerOver(name, kRS);
    StringTokenizer dataRecordTokenizer = tokenizerOver(data, kRS);

    while (codeRecordTokenizer.hasMoreTokens() && nameRecordTokenizer.hasMoreTokens() &&
           dataRecordTokenizer.hasMoreTokens()) {
        const std::string codeRecord = codeRecordTokenizer.nextToken(StringTokenizer::Unescape);
        const std::string nameRecord = nameRecordTokenizer.nextToken(StringTokenizer::Unescape);
        const std::string dataRecord = dataRecordTokenizer.nextToken(StringTokenizer::Unescape);

        StringTokenizer codeFieldTokenizer = tokenizerOver(codeRecord, kFS);
        StringTokenizer nameFieldTokenizer = tokenizerOver(nameRecord, kFS);
        StringTokenizer dataFieldTokenizer = tokenizerOver(dataRecord, kFS);

        // Owned here until complete, so a throw mid-record leaves usageArray as it was.
        std::vector<CodeNameValueTuple> record;
        while (codeFieldTokenizer.hasMoreTokens() && nameFieldTokenizer.hasMoreTokens() &&
               dataFieldTokenizer.hasMoreTokens()) {
            CodeNameValueTuple tuple;
            tuple.code = codeFieldTokenizer.nextToken(StringTokenizer::Unescape);
            tuple.name = nameFieldTokenizer.nextToken(StringTokenizer::Unescape);
            tuple.value = dataFieldTokenizer.nextToken(StringTokenizer::Unescape);
            record.push_back(std::move(tuple));
        }
        // clang-format off
        KRL_ASSERT(( codeFieldTokenizer.hasMoreTokens() && nameFieldTokenizer.hasMoreTokens() && dataFieldTokenizer.hasMoreTokens() ) || ( !codeFieldTokenizer.hasMoreTokens() && !nameFieldTokenizer.hasMoreTokens() && !dataFieldTokenizer.hasMoreTokens() ), kSourceFile, kFieldsExhaustedLine);
        // clang-format on
        usageArray.push_back(std::move(record));
    }
    // clang-format off
    KRL_ASSERT(( codeRecordTokenizer.hasMoreTokens() && nameRecordTokenizer.hasMoreTokens() && dataRecordTokenizer.hasMoreTokens() ) || ( !codeRecordTokenizer.hasMoreTokens() && !nameRecordTokenizer.hasMoreTokens() && !dataRecordTokenizer.hasMoreTokens() ), kSourceFile, kRecordsExhaustedLine);
    // clang-format on
}

void qxdsUsageInfoHelper::generateUsageArrayAsXMLFragment(
    const std::vector<std::vector<CodeNameValueTuple>>& usageArray, std::string& xml) {
    KRL_ASSERT(!usageArray.empty(), kSourceFile, 120);

    const std::vector<CodeNameValueTuple>& dimensions = usageArray.front();
    const std::vector<CodeNameValueTuple>& measures = usageArray.back();

    xml += kParameterNodeBegin;
    xml += kBlobNodeBegin;

    xml += kDimUsageItemNodeBegin;
    xml += kDimUsageNodeBegin;
    // The last field of record 0 stands for the measures and is no dimension.
    // Dimension i has its levels in record i + 1; a blob too short to hold that
    // record gives the dimension an empty level list rather than a read past the end.
    for (std::size_t i = 0; i + 1 < dimensions.size(); ++i) {
        const CodeNameValueTuple& dimension = dimensions.at(i);
        xml += kDimItemNodeBegin;
        appendFilled(xml, kDimCode, cdataSafe(dimension.code));
        appendFilled(xml, kDimName, cdataSafe(dimension.name));
        appendFilled(xml, kDimCount, textSafe(dimension.value));
        xml += kLevelUsageNodeBegin;
        if (i + 1 < usageArray.size()) {
            for (const CodeNameValueTuple& level : usageArray.at(i + 1)) {
                xml += kLevelItemNodeBegin;
                appendFilled(xml, kLevelCode, cdataSafe(level.code));
                appendFilled(xml, kLevelName, cdataSafe(level.name));
                appendFilled(xml, kLevelCount, textSafe(level.value));
                xml += kLevelItemNodeEnd;
            }
        }
        xml += kLevelUsageNodeEnd;
        xml += kDimItemNodeEnd;
    }
    xml += kDimUsageNodeEnd;
    xml += kItemNodeEnd;

    xml += kMeasureUsageItemNodeBegin;
    xml += kMeasureUsageNodeBegin;
    for (const CodeNameValueTuple& measure : measures) {
        xml += kMeasureItemNodeBegin;
        appendFilled(xml, kMeasureCode, cdataSafe(measure.code));
        appendFilled(xml, kMeasureName, cdataSafe(measure.name));
        appendFilled(xml, kMeasureCount, textSafe(measure.value));
        xml += kMeasureItemNodeEnd;
    }
    xml += kMeasureUsageNodeEnd;
    xml += kItemNodeEnd;

    xml += kBlobNodeEnd;
    xml += kParameterNodeEnd;
}
