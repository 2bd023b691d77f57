#include "auditSupport.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

using namespace AuditSupport;

namespace {

// Splits as the loader does: on tabs, empty pieces dropped, trailing
// newlines trimmed from each piece.
std::vector<std::string> splitLine(const std::string& line) {
    std::vector<std::string> pieces;
    size_t start = 0;
    while (start <= line.size()) {
        size_t end = line.find('\t', start);
        if (end == std::string::npos) {
            end = line.size();
        }
        std::string piece = line.substr(start, end - start);
        while (!piece.empty() && piece.back() == '\n') {
            piece.pop_back();
        }
        if (!piece.empty()) {
            pieces.push_back(piece);
        }
        start = end + 1;
    }
    return pieces;
}

TEST(AuditSupport, EveryTextMapsBackToItsValue) {
    for (int value = kI; value <= kG; ++value) {
        TypeCode code = static_cast<TypeCode>(value);
        EXPECT_EQ(code, GetTypeCode(GetType(code))) << value;
        EXPECT_EQ(code, GetTypeRec(code).code);
    }
    for (int value = kQXES; value <= kQXPB; ++value) {
        ComponentCode code = static_cast<ComponentCode>(value);
        EXPECT_EQ(code, GetComponentCode(GetComponent(code))) << value;
    }
    for (int value = k1; value <= kTRVS; ++value) {
        FormatCode code = static_cast<FormatCode>(value);
        EXPECT_EQ(code, GetFormatCode(GetFormat(code))) << value;
        EXPECT_EQ(code, GetFormatRec(code).code);
    }
    EXPECT_STREQ("REQINFO", GetFormat(kREQINFO));
    EXPECT_STREQ("TRVS", GetFormat(kTRVS));
    EXPECT_STREQ("QXPB", GetComponent(kQXPB));
    EXPECT_STREQ("G", GetType(kG));
}

TEST(AuditSupport, UnmatchedTextsGiveTheUnknownValuesWithTheEmptyFormatException) {
    struct {
        const char* text;
        int type;
        int component;
        int format;
    } cases[] = {
        {"", kTypeUnknown, kComponentUnknown, 25},
        {"XYZ", kTypeUnknown, kComponentUnknown, kFormatUnknown},
        {"i", kTypeUnknown, kComponentUnknown, kFormatUnknown},
        {"srv", kTypeUnknown, kComponentUnknown, kFormatUnknown},
        {"qxes", kTypeUnknown, kComponentUnknown, kFormatUnknown},
        {"SRV ", kTypeUnknown, kComponentUnknown, kFormatUnknown},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.type, GetTypeCode(c.text)) << c.text;
        EXPECT_EQ(c.component, GetComponentCode(c.text)) << c.text;
        EXPECT_EQ(c.format, GetFormatCode(c.text)) << c.text;
    }
}

TEST(AuditSupport, UnknownRowsHoldTheUnknownValueAndNoRowIsReadPastTheTable) {
    EXPECT_EQ(kFormatUnknown, GetFormatRec(static_cast<FormatCode>(25)).code);
    EXPECT_STREQ("", GetFormatRec(static_cast<FormatCode>(25)).text);
    EXPECT_EQ(kFormatUnknown, GetFormatRec(kFormatUnknown).code);
    EXPECT_STREQ("", GetFormat(kFormatUnknown));
    EXPECT_STREQ("", GetFormat(static_cast<FormatCode>(-1)));
    EXPECT_EQ(kTypeUnknown, GetTypeRec(kTypeUnknown).code);
    EXPECT_STREQ("", GetType(static_cast<TypeCode>(99)));
    EXPECT_EQ(kComponentUnknown, GetComponentRec(kComponentUnknown).code);
    EXPECT_STREQ("", GetComponent(static_cast<ComponentCode>(7)));
}

TEST(AuditSupport, IncrementWrapsAfterTheUnknownValue) {
    struct {
        int from;
        int to;
    } formats[] = {{0, 1}, {24, 25}, {25, 26}, {26, 0}};
    for (const auto& c : formats) {
        FormatCode code = static_cast<FormatCode>(c.from);
        FormatCode& result = code++;
        EXPECT_EQ(c.to, code) << c.from;
        EXPECT_EQ(&code, &result);
    }
    ComponentCode component = kComponentUnknown;
    component++;
    EXPECT_EQ(kQXES, component);
    component = kQXPB;
    EXPECT_EQ(kComponentUnknown, component++);
    TypeCode type = kTypeUnknown;
    type++;
    EXPECT_EQ(kI, type);
    type = kG;
    EXPECT_EQ(kTypeUnknown, type++);
}

TEST(AuditSupport, HeaderIsExactAndRejectsACarriageReturn) {
    const std::string header = kAuditFileHeader;
    EXPECT_EQ(106u, header.size());
    EXPECT_EQ(
        "Type\t\tTimeStamp\t\tTimeZone\t\tDifferenceFromGMT\t\tSessionId\t\tRequestId\t\t"
        "ComponentId\t\tMessageFormat\t\tMessage\t\t\n",
        header);
    const char withCarriageReturn[] =
        "Type\t\tTimeStamp\t\tTimeZone\t\tDifferenceFromGMT\t\tSessionId\t\tRequestId\t\t"
        "ComponentId\t\tMessageFormat\t\tMessage\t\t\r\n";
    EXPECT_NE(0, std::memcmp(kAuditFileHeader, withCarriageReturn, 107));
    EXPECT_EQ(
        std::vector<std::string>({"Type", "TimeStamp", "TimeZone", "DifferenceFromGMT", "SessionId",
                                  "RequestId", "ComponentId", "MessageFormat", "Message"}),
        splitLine(header));
}

TEST(AuditSupport, RecordLineSplitsIntoElevenPiecesInOrder) {
    const std::vector<std::string> fields = {GetType(kI),
                                             "2011-03-04:17:05:09.042",
                                             "CET",
                                             "Time Zone: GMT + 1:00",
                                             "12",
                                             "7",
                                             GetComponent(kQXRQ),
                                             GetFormat(kREQINFO),
                                             "sales,cube,\"/cubes/sales.mdc\"",
                                             "second piece",
                                             "third piece"};
    std::string line;
    for (const std::string& field : fields) {
        line += field + kFieldSeparator;
    }
    line += "\n";
    std::vector<std::string> pieces = splitLine(line);
    ASSERT_EQ(11u, pieces.size());
    EXPECT_EQ(fields, pieces);
    EXPECT_EQ("third piece", pieces.at(message + 2));
    EXPECT_EQ("12", pieces.at(session_id));
    EXPECT_EQ("REQINFO", pieces.at(msg_format));
}

}  // namespace
