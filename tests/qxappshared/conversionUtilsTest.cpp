#include "ConversionUtils.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <thread>

#include "changeEncodingUtils.h"
#include "krlAssertError.h"

namespace {

const std::string kEuroUtf8 = "\xe2\x82\xac";
const std::string kUUmlautUtf8 = "\xc3\xbc";

// Decoding as described: replace the first reference, search again from the
// start; used to check that the one-pass decoder gives the same text.
std::string decodeByRescanning(std::string text, const std::string& encoding) {
    for (size_t at; (at = text.find("&#x20ac;")) != std::string::npos;) {
        text.replace(at, 8, "&#8364;");
    }
    I18NConverter converter(encoding, outputCallback);
    for (int rounds = 0; rounds < 100000; ++rounds) {
        size_t amp = text.find("&#");
        if (amp == std::string::npos) {
            break;
        }
        size_t semi = text.find(';', amp);
        if (semi == std::string::npos) {
            break;
        }
        uint32_t value = 0;
        bool digits = false;
        bool tooLarge = false;
        for (size_t i = amp + 2; i < semi && text[i] >= '0' && text[i] <= '9'; ++i) {
            digits = true;
            value = value * 10 + (text[i] - '0');
            if (value > 0x10FFFF) {
                tooLarge = true;
                break;
            }
        }
        uint32_t code = digits && !tooLarge ? value : 0;
        text.replace(amp, semi - amp + 1, converter.fromCodePoint(code));
    }
    return text;
}

struct ConversionCase {
    const char* name;
    std::string input;
    const char* from;
    const char* to;
    std::string expected;
};

class ConversionTest : public ::testing::TestWithParam<ConversionCase> {};

TEST_P(ConversionTest, ConvertsText) {
    const ConversionCase& c = GetParam();
    std::string text = c.input;
    changeStringEncoding(text, c.from, c.to);
    EXPECT_EQ(c.expected, text);
}

INSTANTIATE_TEST_SUITE_P(
    Encodings, ConversionTest,
    ::testing::Values(ConversionCase{"Latin1ToUtf8", "M\xfcller", "ISO-8859-1", "UTF-8",
                                     "M" + kUUmlautUtf8 + "ller"},
                      ConversionCase{"Utf8ToLatin1", "M" + kUUmlautUtf8 + "ller", "UTF-8",
                                     "iso-8859-1", "M\xfcller"},
                      ConversionCase{"UnrepresentableBecomesQuestionMark", "a" + kEuroUtf8 + "b",
                                     "UTF-8", "ISO-8859-1", "a?b"},
                      ConversionCase{"EuroIntoLatin9", kEuroUtf8, "UTF-8", "ISO-8859-15", "\xa4"},
                      ConversionCase{"InvalidSourceByteBecomesQuestionMark", "a\xff\x62", "UTF-8",
                                     "ISO-8859-1", "a?b"},
                      ConversionCase{"TruncatedSequenceAtEndBecomesQuestionMark", "a\xc3", "UTF-8",
                                     "ISO-8859-1", "a?"},
                      ConversionCase{"UnknownSourceNameIsReadAsUtf8", "M" + kUUmlautUtf8,
                                     "/opt/qx/bin/", "ISO-8859-1", "M\xfc"},
                      ConversionCase{"UnknownTargetNameWritesUtf8", "M\xfc", "ISO-8859-1",
                                     "no-such-encoding", "M" + kUUmlautUtf8},
                      ConversionCase{"SameNameOtherCaseCopiesBytesUnchecked", "a\xff", "utf-8",
                                     "UTF-8", "a\xff"},
                      ConversionCase{"EmptyText", "", "ISO-8859-1", "UTF-8", ""}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(ChangeEncoding, SameNameOtherCaseTouchesNoConverterState) {
    ChangeEncodingUtils::terminate();
    std::string output;
    std::string seen;
    changeEncoding(
        "abc", 3, "Utf-8", "uTF-8", &output,
        [](void* context, char* text) { *static_cast<std::string*>(context) = text; }, &seen);
    EXPECT_EQ("abc", output);
    EXPECT_EQ("abc", seen);
    EXPECT_FALSE(ChangeEncodingUtils::isInitialized());
}

TEST(ChangeEncoding, BuffersGrowInWholeStepsUntilTheTextFits) {
    ASSERT_TRUE(ChangeEncodingUtils::initialize(kEncodingUtilsShared));
    // 3,000 characters need 12,004 Unicode bytes (four a character and the
    // terminator) and 6,004 UTF-8 bytes.
    std::string text(3000, '\xe9');
    std::string output;
    changeEncoding(text.data(), static_cast<long>(text.size()), "ISO-8859-1", "UTF-8", &output,
                   nullptr, nullptr);
    std::string expected;
    for (int i = 0; i < 3000; ++i) {
        expected += "\xc3\xa9";
    }
    EXPECT_EQ(expected, output);
    conversionBuffer* unicode = nullptr;
    conversionBuffer* converted = nullptr;
    ChangeEncodingUtils::getDataInstance()->getBuffers(&unicode, &converted);
    EXPECT_EQ(12288u, unicode->size);
    EXPECT_EQ(6144u, converted->size);

    // A short conversion afterwards keeps the larger buffers.
    changeEncoding("x", 1, "ISO-8859-1", "UTF-8", &output, nullptr, nullptr);
    EXPECT_EQ("x", output);
    EXPECT_EQ(12288u, unicode->size);
    ChangeEncodingUtils::terminate();
}

TEST(ChangeEncoding, BufferThatCannotGrowThrowsConversionError) {
    ChangeEncodingUtilsData data;
    conversionBuffer buffer;
    try {
        data.increaseBuffer(&buffer, 5000000000ULL);
        FAIL() << "no exception";
    } catch (const CPPWebException& e) {
        EXPECT_EQ(1050, e.getErrorCode());
        EXPECT_EQ("ChangeEncodingUtilsData::increaseBuffer()", e.getErrorCodeMessage());
        EXPECT_EQ("qxappshared/source/ConversionUtils", e.getBackTrace().at(0).file);
        EXPECT_EQ(129, e.getBackTrace().at(0).line);
    }
    EXPECT_EQ(0u, buffer.size);
}

TEST(ChangeEncoding, InPlaceFromWideEncodingsIsAnAssertion) {
    struct {
        const char* from;
        const char* text;
        int line;
    } cases[] = {
        {"utf-16", "KRL_ASSERT(compareNoCase(fromEncoding,\"UTF-16\") != 0);", 282},
        {"UCS-2", "KRL_ASSERT(compareNoCase(fromEncoding,\"UCS-2\") != 0);", 285},
    };
    for (const auto& c : cases) {
        std::string text = "abc";
        try {
            changeStringEncoding(text, c.from, "UTF-8");
            ADD_FAILURE() << c.from << ": no assertion";
        } catch (const KRLAssertError& e) {
            EXPECT_EQ(c.text, e.getErrorCodeMessage());
            EXPECT_EQ(c.line, e.getBackTrace().at(0).line);
        }
        EXPECT_EQ("abc", text);
    }
}

TEST(ChangeEncoding, PerThreadModeGivesEachThreadItsOwnState) {
    ChangeEncodingUtils::terminate();
    ChangeEncodingUtilsData* mine = ChangeEncodingUtils::getDataInstance();
    EXPECT_EQ(kEncodingUtilsPerThread, ChangeEncodingUtils::mode());
    ChangeEncodingUtilsData* theirs = nullptr;
    std::string converted;
    std::thread worker([&] {
        theirs = ChangeEncodingUtils::getDataInstance();
        converted = "M\xfc";
        UTF8EncodeString(converted, "ISO-8859-1");
    });
    worker.join();
    EXPECT_NE(nullptr, mine);
    EXPECT_NE(mine, theirs);
    EXPECT_EQ(mine, ChangeEncodingUtils::getDataInstance());
    EXPECT_EQ("M" + kUUmlautUtf8, converted);

    ASSERT_TRUE(ChangeEncodingUtils::initialize(kEncodingUtilsShared));
    ChangeEncodingUtilsData* shared = ChangeEncodingUtils::getDataInstance();
    std::thread other([&] { theirs = ChangeEncodingUtils::getDataInstance(); });
    other.join();
    EXPECT_EQ(shared, theirs);
    ChangeEncodingUtils::terminate();
}

struct DecodeCase {
    const char* name;
    std::string input;
    const char* encoding;
    std::string expected;
};

class DecodeTest : public ::testing::TestWithParam<DecodeCase> {};

TEST_P(DecodeTest, DecodesReferences) {
    const DecodeCase& c = GetParam();
    std::string text = c.input;
    decodeUnicodeEscapeSequences(text, c.encoding);
    EXPECT_EQ(c.expected, text);
}

INSTANTIATE_TEST_SUITE_P(
    References, DecodeTest,
    ::testing::Values(
        DecodeCase{"UserNameIntoUtf8", "M&#252;ller", "UTF-8", "M" + kUUmlautUtf8 + "ller"},
        DecodeCase{"UserNameIntoLatin1", "M&#252;ller", "ISO-8859-1", "M\xfcller"},
        DecodeCase{"ProgramDirectoryAsEncodingGivesUtf8", "M&#252;ller", "/opt/qx/bin/",
                   "M" + kUUmlautUtf8 + "ller"},
        DecodeCase{"HexadecimalEuro", "&#x20ac;", "UTF-8", kEuroUtf8},
        DecodeCase{"DecimalEuro", "&#8364;", "UTF-8", kEuroUtf8},
        DecodeCase{"EuroNotInTargetBecomesQuestionMark", "&#8364;", "ISO-8859-1", "?"},
        DecodeCase{"OtherHexadecimalIsZero", "&#x41;", "UTF-8", "?"},
        DecodeCase{"UpperCaseHexEuroIsNotUnderstood", "&#x20AC;", "UTF-8", "?"},
        DecodeCase{"NoDigits", "a&#;b", "UTF-8", "a?b"}, DecodeCase{"Zero", "&#0;", "UTF-8", "?"},
        DecodeCase{"Surrogate", "&#55296;", "UTF-8", "?"},
        DecodeCase{"BeyondUnicode", "&#1114112;", "UTF-8", "?"},
        DecodeCase{"LastCharacter", "&#1114111;", "UTF-8", "\xf4\x8f\xbf\xbf"},
        DecodeCase{"TooLongForAnyInteger", "&#99999999999999999999999;", "UTF-8", "?"},
        DecodeCase{"BlankBeforeDigits", "&# 65;", "UTF-8", "?"},
        DecodeCase{"SignBeforeDigits", "&#-65;", "UTF-8", "?"},
        DecodeCase{"DigitsStopAtNonDigit", "&#65 x;", "UTF-8", "A"},
        DecodeCase{"ReferenceToAmpersandIsDecodedOnce", "&#38;", "UTF-8", "&"},
        DecodeCase{"DecodedAmpersandStartsANewReference", "&#38;#38;", "UTF-8", "&"},
        DecodeCase{"DecodedHashMeetsEarlierAmpersand", "&&#35;65;", "UTF-8", "A"},
        DecodeCase{"FirstReferenceRunsToFirstSemicolon", "&#abc&#65;", "UTF-8", "?"},
        DecodeCase{"NoSemicolonLeavesText", "a&#65", "UTF-8", "a&#65"},
        DecodeCase{"SemicolonOnlyBeforeReference", "x;&#65", "UTF-8", "x;&#65"},
        DecodeCase{"PlainText", "Smith", "UTF-8", "Smith"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(DecodeUnicodeEscapeSequences, GivesTheSameTextAsRescanningFromTheStart) {
    std::mt19937 random(20110304);
    const char alphabet[] = {'&', '#', ';', '3', '8', '5', '6', '0', 'x', 'a'};
    for (const char* encoding : {"UTF-8", "ISO-8859-1", "UTF-16BE"}) {
        for (int round = 0; round < 3000; ++round) {
            std::string text;
            size_t length = random() % 24;
            for (size_t i = 0; i < length; ++i) {
                text += alphabet[random() % sizeof alphabet];
            }
            std::string decoded = text;
            decodeUnicodeEscapeSequences(decoded, encoding);
            ASSERT_EQ(decodeByRescanning(text, encoding), decoded) << encoding << ": " << text;
        }
    }
}

TEST(DecodeUnicodeEscapeSequences, LongChainsEndAndStayShort) {
    std::string many;
    std::string chain = "&#38;";
    for (int i = 0; i < 200000; ++i) {
        many += "&#38;";
        chain += "#38;";
    }
    decodeUnicodeEscapeSequences(many, "UTF-8");
    EXPECT_EQ(std::string(200000, '&'), many);
    decodeUnicodeEscapeSequences(chain, "UTF-8");
    EXPECT_EQ("&", chain);
}

}  // namespace
