#include "stringTokenizer.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

std::vector<std::string> Tokens(const char* begin, const char* end, const std::string& separators,
                                StringTokenizer::Mode mode) {
    StringTokenizer tokenizer(begin, end, separators, "\\");
    std::vector<std::string> tokens;
    while (tokenizer.hasMoreTokens()) {
        tokens.push_back(tokenizer.nextToken(mode));
    }
    return tokens;
}

struct TokenizerCase {
    const char* behaviour;
    std::string text;
    std::string separators;
    StringTokenizer::Mode mode;
    std::vector<std::string> expected;
};

class StringTokenizerTable : public ::testing::TestWithParam<TokenizerCase> {};

TEST_P(StringTokenizerTable, SplitsAsExpected) {
    const TokenizerCase& c = GetParam();
    EXPECT_EQ(Tokens(c.text.data(), c.text.data() + c.text.size(), c.separators, c.mode),
              c.expected)
        << c.behaviour;
}

const StringTokenizer::Mode kU = StringTokenizer::Unescape;

INSTANTIATE_TEST_SUITE_P(
    Modes, StringTokenizerTable,
    ::testing::Values(
        TokenizerCase{"EmptyTextHasNoToken", "", ";", kU, {}},
        TokenizerCase{"OnlySeparatorsGiveOneEmptyToken", ";;", ";", kU, {""}},
        TokenizerCase{"LeadingSeparatorsAreSkipped", ";;a", ";", kU, {"a"}},
        TokenizerCase{"RunsOfSeparatorsGiveNoEmptyToken", "a,,b", ",", kU, {"a", "b"}},
        TokenizerCase{"TrailingSeparatorGivesLastEmptyToken", "a,b,", ",", kU, {"a", "b", ""}},
        TokenizerCase{"AnyListedCharacterSeparates", "a;b,c", ";,", kU, {"a", "b", "c"}},
        TokenizerCase{"BytesAboveAsciiAreData", "\xC3\xA9,x", ",", kU, {"\xC3\xA9", "x"}},
        TokenizerCase{"ByteAboveAsciiCanSeparate",
                      "a\xA7"
                      "b",
                      "\xA7",
                      kU,
                      {"a", "b"}},
        TokenizerCase{
            "NulCanSeparate", std::string("a\0b", 3), std::string(1, '\0'), kU, {"a", "b"}},
        TokenizerCase{"EscapedSeparatorIsData", "a\\,b,c", ",", kU, {"a,b", "c"}},
        TokenizerCase{"EscapedSeparatorAtEnd", "a\\,", ",", kU, {"a,"}},
        TokenizerCase{"EscapeBeforeOtherCharacterIsKept", "a\\xb", ",", kU, {"a\\xb"}},
        TokenizerCase{"TrailingEscapeIsKept", "ab\\", ",", kU, {"ab\\"}},
        TokenizerCase{"LoneEscapeIsKept", "\\", ",", kU, {"\\"}},
        TokenizerCase{"EscapedEscapeDoesNotProtectSeparator", "a\\\\,b", ",", kU, {"a\\\\", "b"}},
        TokenizerCase{"PlainIgnoresEscapes", "a\\,b", ",", StringTokenizer::Plain, {"a\\", "b"}},
        TokenizerCase{"UnescapeEscapesCollapsesOnlyEscapePairs",
                      "a\\\\b\\,c,d",
                      ",",
                      StringTokenizer::UnescapeEscapes,
                      {"a\\b\\,c", "d"}},
        TokenizerCase{"UnescapeAllCollapsesBothPairs",
                      "a\\\\b\\,c,d",
                      ",",
                      StringTokenizer::UnescapeAll,
                      {"a\\b,c", "d"}}),
    [](const ::testing::TestParamInfo<TokenizerCase>& info) { return info.param.behaviour; });

TEST(StringTokenizer, EscapeAtEndOfRangeDoesNotLookBeyondIt) {
    const std::string buffer = "a\\,b";
    // The range stops after the backslash; the comma behind it is not part of the text.
    EXPECT_EQ(Tokens(buffer.data(), buffer.data() + 2, ",", kU), std::vector<std::string>{"a\\"});
}

TEST(StringTokenizer, NullOrReversedRangeIsEmpty) {
    const std::string buffer = "abc";
    EXPECT_TRUE(Tokens(nullptr, nullptr, ",", kU).empty());
    EXPECT_TRUE(Tokens(buffer.data() + 2, buffer.data(), ",", kU).empty());
}

}  // namespace
