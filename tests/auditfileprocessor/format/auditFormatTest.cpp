// The audit line's code tables and the record's local-time texts.
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>

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

}  // namespace
