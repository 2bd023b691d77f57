#include "stringTokenizer.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

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
