#include "ConversionUtils.h"

#include <gtest/gtest.h>

#include <string>

#include "../support/thrown.h"
#include "changeEncodingUtils.h"

namespace {

const std::string kEuro = "\xe2\x82\xac";
const std::string kMueller = "M\xc3\xbcller";

TEST(ChangeStringEncoding, ConvertsBetweenNamedEncodings) {
    const struct {
        std::string input;
        const char *from, *to;
        std::string expected;
    } cases[] = {
        {"M\xfcller", "ISO-8859-1", "UTF-8", kMueller},
        {kMueller, "UTF-8", "iso-8859-1", "M\xfcller"},
        {"a" + kEuro + "b", "UTF-8", "ISO-8859-1", "a?b"},  // not representable
        {kEuro, "UTF-8", "ISO-8859-15", "\xa4"},
        {"a\xff\x62", "UTF-8", "ISO-8859-1", "a?b"},
        {"a\xc3", "UTF-8", "ISO-8859-1", "a?"},
        {kMueller, "/opt/qx/bin/", "ISO-8859-1", "M\xfcller"},  // unknown names mean UTF-8
        {"M\xfc", "ISO-8859-1", "no-such-encoding", "M\xc3\xbc"},
        {"a\xff", "utf-8", "UTF-8", "a\xff"},  // the same name: bytes copied unchecked
        {"", "ISO-8859-1", "UTF-8", ""},
    };
    for (const auto& c : cases) {
        std::string text = c.input;
        changeStringEncoding(text, c.from, c.to);
        EXPECT_EQ(text, c.expected) << c.input << " " << c.from << " -> " << c.to;
    }
}

TEST(ChangeStringEncoding, InPlaceFromWideEncodingsIsAnAssertion) {
    for (const std::string wide : {"UTF-16", "UCS-2"}) {
        std::string text = "abc";
        const std::string given = wide == "UCS-2" ? "ucs-2" : "utf-16";  // in any case
        EXPECT_EQ(Thrown([&] { changeStringEncoding(text, given.c_str(), "UTF-8"); }),
                  "KRL_ASSERT(compareNoCase(fromEncoding,\"" + wide + "\") != 0);");
        EXPECT_EQ(text, "abc");
    }
}

TEST(ChangeEncoding, BuffersGrowInWholeStepsAndFailWithTheirErrorWhenTheyCannot) {
    ASSERT_TRUE(ChangeEncodingUtils::initialize(kEncodingUtilsShared));
    // 3,000 characters take 12,004 bytes as 32-bit code points and 6,004 as UTF-8.
    const std::string text(3000, '\xe9');
    std::string output, expected;
    changeEncoding(text.data(), static_cast<long>(text.size()), "ISO-8859-1", "UTF-8", &output,
                   nullptr, nullptr);
    for (int i = 0; i < 3000; ++i) {
        expected += "\xc3\xa9";
    }
    EXPECT_EQ(output, expected);
    conversionBuffer* unicode = nullptr;
    conversionBuffer* converted = nullptr;
    ChangeEncodingUtils::getDataInstance()->getBuffers(&unicode, &converted);
    EXPECT_EQ(unicode->size, 12288u);
    EXPECT_EQ(converted->size, 6144u);
    changeEncoding("x", 1, "ISO-8859-1", "UTF-8", &output, nullptr, nullptr);
    EXPECT_EQ(output, "x");
    EXPECT_EQ(unicode->size, 12288u);  // a larger buffer is kept
    ChangeEncodingUtils::terminate();

    ChangeEncodingUtilsData data;
    conversionBuffer buffer;
    EXPECT_EQ(
        Thrown([&] { data.increaseBuffer(&buffer, 5000000000ULL); }, true),
        "ChangeEncodingUtilsData::increaseBuffer() at qxappshared/source/ConversionUtils:129");
    EXPECT_EQ(buffer.size, 0u);
}

TEST(DecodeUnicodeEscapeSequences, ReplacesReferencesFromTheStartUntilNoneIsLeft) {
    const struct {
        std::string input;
        const char* encoding;
        std::string expected;
    } cases[] = {
        {"M&#252;ller", "UTF-8", kMueller},
        {"M&#252;ller", "ISO-8859-1", "M\xfcller"},
        {"M&#252;ller", "/opt/qx/bin/", kMueller},
        {"&#x20ac;", "UTF-8", kEuro},
        {"&#8364;", "UTF-8", kEuro},
        {"&#8364;", "ISO-8859-1", "?"},
        {"&#x41;", "UTF-8", "?"},  // the euro is the only hexadecimal form
        {"&#x20AC;", "UTF-8", "?"},
        {"a&#;b", "UTF-8", "a?b"},
        {"&#0;", "UTF-8", "?"},
        {"&#55296;", "UTF-8", "?"},
        {"&#1114112;", "UTF-8", "?"},
        {"&#1114111;", "UTF-8", "\xf4\x8f\xbf\xbf"},
        {"&#99999999999999999999999;", "UTF-8", "?"},
        {"&# 65;", "UTF-8", "?"},
        {"&#-65;", "UTF-8", "?"},
        {"&#65 x;", "UTF-8", "A"},
        {"&#38;", "UTF-8", "&"},
        {"&#38;#38;", "UTF-8", "&"},  // the decoded "&" starts a new reference
        {"&&#35;65;", "UTF-8", "A"},
        {"&#abc&#65;", "UTF-8", "?"},
        {"a&#65", "UTF-8", "a&#65"},
        {"x;&#65", "UTF-8", "x;&#65"},
    };
    for (const auto& c : cases) {
        std::string text = c.input;
        decodeUnicodeEscapeSequences(text, c.encoding);
        EXPECT_EQ(text, c.expected) << c.input << " into " << c.encoding;
    }
}

TEST(DecodeUnicodeEscapeSequences, LongChainsEndAndStayShort) {
    std::string many, chain = "&#38;";
    for (int i = 0; i < 200000; ++i) {
        many += "&#38;";
        chain += "#38;";
    }
    decodeUnicodeEscapeSequences(many, "UTF-8");
    EXPECT_EQ(many, std::string(200000, '&'));
    decodeUnicodeEscapeSequences(chain, "UTF-8");
    EXPECT_EQ(chain, "&");
}

}  // namespace
