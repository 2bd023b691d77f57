// The audit line's code tables, the record's local-time texts, and the
// record list's attribute-tree form.
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>
#include <utility>
#include <vector>

#include "attributeTree.h"
#include "auditInfo.h"
#include "auditRecord.h"
#include "auditSupport.h"

using namespace AuditSupport;

namespace {

TEST(AuditSupport, EveryCodeRoundTripsThroughItsText) {
    for (int value = kI; value <= kG; ++value) {
        const TypeCode code = static_cast<TypeCode>(value);
        EXPECT_EQ(code, GetTypeCode(GetType(code))) << value;
        EXPECT_EQ(code, GetTypeRec(code).code) << value;
    }
    for (int value = kQXES; value <= kQXPB; ++value) {
        const ComponentCode code = static_cast<ComponentCode>(value);
        EXPECT_EQ(code, GetComponentCode(GetComponent(code))) << value;
        EXPECT_EQ(code, GetComponentRec(code).code) << value;
    }
    for (int value = k1; value <= kTRVS; ++value) {
        const FormatCode code = static_cast<FormatCode>(value);
        EXPECT_EQ(code, GetFormatCode(GetFormat(code))) << value;
        EXPECT_EQ(code, GetFormatRec(code).code) << value;
    }
}

TEST(AuditSupport, UnmatchedTextsAndCodesAreUnknownExceptTheEmptyFormat) {
    const struct {
        const char* text;
        int format;
    } cases[] = {{"", 25},
                 {"XYZ", kFormatUnknown},
                 {"i", kFormatUnknown},
                 {"qxes", kFormatUnknown},
                 {"SRV ", kFormatUnknown}};
    for (const auto& c : cases) {
        EXPECT_EQ(kTypeUnknown, GetTypeCode(c.text)) << c.text;
        EXPECT_EQ(kComponentUnknown, GetComponentCode(c.text)) << c.text;
        EXPECT_EQ(c.format, GetFormatCode(c.text)) << c.text;
    }
    // The format table's row 25 holds the unknown value 26; codes past the
    // tables read as empty texts.
    EXPECT_EQ(kFormatUnknown, GetFormatRec(static_cast<FormatCode>(25)).code);
    EXPECT_STREQ("", GetFormatRec(static_cast<FormatCode>(25)).text);
    EXPECT_STREQ("", GetFormat(static_cast<FormatCode>(-1)));
    EXPECT_STREQ("", GetType(static_cast<TypeCode>(99)));
    EXPECT_STREQ("", GetComponent(static_cast<ComponentCode>(7)));
}

TEST(AuditSupport, IncrementWrapsAfterTheUnknownValue) {
    const std::pair<int, int> steps[] = {{0, 1}, {24, 25}, {25, 26}, {26, 0}};
    for (const auto& step : steps) {
        FormatCode code = static_cast<FormatCode>(step.first);
        FormatCode& result = code++;
        EXPECT_EQ(step.second, code) << step.first;
        EXPECT_EQ(&code, &result);
    }
    ComponentCode component = kComponentUnknown;
    EXPECT_EQ(kQXES, component++);
    component = kQXPB;
    EXPECT_EQ(kComponentUnknown, component++);
    TypeCode type = kTypeUnknown;
    EXPECT_EQ(kI, type++);
    type = kG;
    EXPECT_EQ(kTypeUnknown, type++);
}

TEST(AuditRecord, LocalTimeGivesStampZoneAndOffset) {
    const time_t march4th = 1299258309;    // 2011-03-04 17:05:09 UTC
    const time_t newYearUtc = 1293856200;  // 2011-01-01 04:30:00 UTC
    const std::string differentYear =
        "Cannot calculate local time zone relative to GMT when local and GMT in different year.";
    const struct {
        const char* zone;
        time_t seconds;
        unsigned milliseconds;
        std::string stamp, zoneText, offset;
    } cases[] = {
        {"UTC0", march4th, 42, "2011-03-04:17:05:09.042", "UTC", "Time Zone: GMT + 0:00"},
        {"PST8", march4th, 7, "2011-03-04:09:05:09.007", "PST", "Time Zone: GMT - 8:00"},
        {"NST3:30", march4th, 999, "2011-03-04:13:35:09.999", "NST", "Time Zone: GMT - 3:30"},
        {"IST-5:30", march4th, 0, "2011-03-04:22:35:09.000", "IST", "Time Zone: GMT + 5:30"},
        {"JST-9", march4th, 0, "2011-03-05:02:05:09.000", "JST", "Time Zone: GMT + 9:00"},
        {"<+0545>-5:45", march4th, 0, "2011-03-04:22:50:09.000", "+0545", "Time Zone: GMT + 5:45"},
        {"EST5", newYearUtc, 500, "2010-12-31:23:30:00.500", "EST", differentYear},
        {"JST-9", newYearUtc - 10 * 3600, 0, "2011-01-01:03:30:00.000", "JST", differentYear},
    };
    const char* previous = std::getenv("TZ");
    const std::string saved = previous == nullptr ? "" : previous;
    for (const auto& c : cases) {
        setenv("TZ", c.zone, 1);
        tzset();
        AuditRecord record;
        record.determineLocalTime(c.seconds, c.milliseconds);
        EXPECT_EQ(c.stamp + " " + c.zoneText + " " + c.offset,
                  record.time_stamp + " " + record.time_zone + " " + record.difference_from_GMT);
    }
    previous == nullptr ? unsetenv("TZ") : setenv("TZ", saved.c_str(), 1);
    tzset();
}

// The fields that AuditInfo keeps, as one text.
std::string Kept(const AuditRecord& r) {
    return std::string(GetType(r.type)) + "|" + r.time_stamp + "|" + r.time_zone + "|" +
           r.difference_from_GMT + "|" + r.session_id + "|" + r.request_id + "|" +
           GetComponent(r.component_id) + "|" + GetFormat(r.message_format) + "|" + r.message;
}

TEST(AuditInfo, StoreNamesRecordsA0A1AndLoadGivesThemBack) {
    unsigned char context = 0;
    AuditInfo original(&context);
    AuditRecord first(kU, "12", "7", kQXRQ, kQXUD, "src,cube,\"f\",,x", "a1", "a2", "a3", "a4",
                      "a5", "tail");
    first.determineLocalTime(1299258309, 42);
    AuditRecord second(kE, "13", "1", kQXPB, kTRVE, "failed", "");
    original.addAuditRecord(first);
    original.addAuditRecord(second);
    const std::vector<std::string> expected = {Kept(first), Kept(second)};
    first.message = "changed after adding";

    AttributeTree tree;
    original.Store(&tree);
    ASSERT_EQ(2u, tree.children().size());
    EXPECT_EQ("a0", tree.children().at(0).name());
    EXPECT_EQ("a1", tree.children().at(1).name());
    EXPECT_EQ("TRVE", *tree.getTree("a1")->getAttribute("message_format"));

    AuditInfo loaded(nullptr);
    loaded.Load(&tree);
    std::vector<std::string> back;
    for (const AuditRecord& record : loaded.records()) {
        back.push_back(Kept(record));
        EXPECT_TRUE(record.aux_1.empty() && record.aux_tail.empty());
    }
    EXPECT_EQ(expected, back);
    loaded.EraseAuditInfo();
    EXPECT_TRUE(loaded.records().empty());
}

}  // namespace
