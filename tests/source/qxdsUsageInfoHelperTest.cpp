// The usage blobs of audit lines: split by the tokenizer, then decoded into
// records of codes, names and counts.
#include "qxdsUsageInfoHelper.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "../support/thrown.h"
#include "stringTokenizer.h"

namespace {

using UsageArray = std::vector<std::vector<CodeNameValueTuple>>;

const char kCodes[] = "D1,D2,M;L11,L12;L21;MC1,MC2";
const char kNames[] = "Dim1,Dim2,Measures;Lev11,Lev12;Lev21;Meas1,Meas2";
const char kData[] = "5,3,8;2,3;3;4,4";

std::string Show(const UsageArray& usage) {
    std::string out;
    for (const auto& record : usage) {
        out += "[";
        for (const auto& tuple : record) {
            out += "(" + tuple.code + "|" + tuple.name + "|" + tuple.value + ")";
        }
        out += "]";
    }
    return out;
}

TEST(BuildUsageArray, DecodesParallelRecordsAndFields) {
    const struct {
        const char *code, *name, *data, *expected;
    } cases[] = {
        {kCodes, kNames, kData,
         "[(D1|Dim1|5)(D2|Dim2|3)(M|Measures|8)][(L11|Lev11|2)(L12|Lev12|3)][(L21|Lev21|3)]"
         "[(MC1|Meas1|4)(MC2|Meas2|4)]"},
        {"a\\,b,c\\;d;x\\y", "n1,n2;n3", "1,2;3", "[(a,b|n1|1)(c;d|n2|2)][(x\\y|n3|3)]"},
        {"M;", "Measures;", "8;", "[(M|Measures|8)][]"},
        {"a\\", "b\\", "1\\", "[(a\\|b\\|1\\)]"},
    };
    for (const auto& c : cases) {
        UsageArray usage;
        qxdsUsageInfoHelper::buildUsageArray(c.code, c.name, c.data, usage);
        EXPECT_EQ(Show(usage), c.expected) << c.code;
    }
}

TEST(BuildUsageArray, MalformedBlobsAssertWithTextAndLine) {
    const std::string fields =
        "KRL_ASSERT(( codeFieldTokenizer.hasMoreTokens() && nameFieldTokenizer.hasMoreTokens() && "
        "dataFieldTokenizer.hasMoreTokens() ) || ( !codeFieldTokenizer.hasMoreTokens() && "
        "!nameFieldTokenizer.hasMoreTokens() && !dataFieldTokenizer.hasMoreTokens() ));";
    std::string records = fields;
    for (size_t at; (at = records.find("Field")) != std::string::npos;) {
        records.replace(at, 5, "Record");
    }
    const struct {
        const char *code, *name, *data;
        bool filled;
        std::string text;
        int line;
    } cases[] = {
        {"", "n", "1", false, "KRL_ASSERT(!code.empty());", 50},
        {"", "", "", true, "KRL_ASSERT(!code.empty());", 50},
        {"c", "", "1", false, "KRL_ASSERT(!name.empty());", 51},
        {"c", "n", "", false, "KRL_ASSERT(!data.empty());", 52},
        {"c", "n", "1", true, "KRL_ASSERT(usageArray.empty());", 54},
        {"a,b,", "x,y", "1,2", false, fields, 77},
        {"a", "x,y", "1", false, fields, 77},
        {"a", "x", "1;2", false, records, 82},
    };
    for (const auto& c : cases) {
        UsageArray usage(c.filled ? 1 : 0);
        EXPECT_EQ(
            Thrown([&] { qxdsUsageInfoHelper::buildUsageArray(c.code, c.name, c.data, usage); },
                   true),
            c.text + " at source/qxdsUsageInfoHelper:" + std::to_string(c.line));
    }
}

std::vector<std::string> Tokens(const char* begin, const char* end, const std::string& separators,
                                StringTokenizer::Mode mode = StringTokenizer::Unescape) {
    StringTokenizer tokenizer(begin, end, separators, "\\");
    std::vector<std::string> tokens;
    while (tokenizer.hasMoreTokens()) {
        tokens.push_back(tokenizer.nextToken(mode));
    }
    return tokens;
}

TEST(StringTokenizer, SplitsByTheRulesOfEachMode) {
    const StringTokenizer::Mode kU = StringTokenizer::Unescape;
    const struct {
        std::string text, separators;
        StringTokenizer::Mode mode;
        std::vector<std::string> expected;
    } cases[] = {
        {"", ";", kU, {}},
        {";;", ";", kU, {""}},
        {";;a", ";", kU, {"a"}},
        {"a,,b", ",", kU, {"a", "b"}},
        {"a,b,", ",", kU, {"a", "b", ""}},
        {"a;b,c", ";,", kU, {"a", "b", "c"}},
        {"\xC3\xA9,x", ",", kU, {"\xC3\xA9", "x"}},
        {"a\xA7z", "\xA7", kU, {"a", "z"}},
        {std::string("a\0b", 3), std::string(1, '\0'), kU, {"a", "b"}},
        {"a\\,b,c", ",", kU, {"a,b", "c"}},
        {"a\\,", ",", kU, {"a,"}},
        {"a\\xb", ",", kU, {"a\\xb"}},
        {"ab\\", ",", kU, {"ab\\"}},
        {"a\\\\,b", ",", kU, {"a\\\\", "b"}},
        {"a\\,b", ",", StringTokenizer::Plain, {"a\\", "b"}},
        {"a\\\\b\\,c,d", ",", StringTokenizer::UnescapeEscapes, {"a\\b\\,c", "d"}},
        {"a\\\\b\\,c,d", ",", StringTokenizer::UnescapeAll, {"a\\b,c", "d"}},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Tokens(c.text.data(), c.text.data() + c.text.size(), c.separators, c.mode),
                  c.expected)
            << c.text;
    }
}

TEST(StringTokenizer, NeverReadsOutsideItsRange) {
    const std::string buffer = "a\\,b";
    // The range ends after the backslash: the comma behind it is not part of the text.
    EXPECT_EQ(Tokens(buffer.data(), buffer.data() + 2, ","), std::vector<std::string>{"a\\"});
    EXPECT_TRUE(Tokens(nullptr, nullptr, ",").empty());
    EXPECT_TRUE(Tokens(buffer.data() + 2, buffer.data(), ",").empty());
}

}  // namespace
