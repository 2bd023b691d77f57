#include "auditRecord.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <regex>
#include <string>

using namespace AuditSupport;

namespace {

// Sets TZ for one test and puts the previous value back.
class ScopedTimeZone {
  public:
    explicit ScopedTimeZone(const char* zone) {
        const char* previous = std::getenv("TZ");
        m_hadPrevious = previous != nullptr;
        if (m_hadPrevious) {
            m_previous = previous;
        }
        setenv("TZ", zone, 1);
        tzset();
    }
    ~ScopedTimeZone() {
        if (m_hadPrevious) {
            setenv("TZ", m_previous.c_str(), 1);
        } else {
            unsetenv("TZ");
        }
        tzset();
    }

  private:
    bool m_hadPrevious = false;
    std::string m_previous;
};

// 2011-03-04 17:05:09 UTC.
const time_t kMarch4th = 1299258309;
// 2011-01-01 04:30:00 UTC.
const time_t kNewYearUtc = 1293856200;

struct LocalTimeCase {
    const char* name;
    const char* zone;
    time_t seconds;
    unsigned milliseconds;
    const char* stamp;
    const char* zoneText;
    const char* offset;
};

class LocalTimeTest : public ::testing::TestWithParam<LocalTimeCase> {};

TEST_P(LocalTimeTest, FormatsStampZoneAndOffset) {
    const LocalTimeCase& c = GetParam();
    ScopedTimeZone zone(c.zone);
    AuditRecord record;
    record.determineLocalTime(c.seconds, c.milliseconds);
    EXPECT_EQ(c.stamp, record.time_stamp);
    EXPECT_EQ(c.zoneText, record.time_zone);
    EXPECT_EQ(c.offset, record.difference_from_GMT);
}

INSTANTIATE_TEST_SUITE_P(
    Zones, LocalTimeTest,
    ::testing::Values(
        LocalTimeCase{"Greenwich", "UTC0", kMarch4th, 42, "2011-03-04:17:05:09.042", "UTC",
                      "Time Zone: GMT + 0:00"},
        LocalTimeCase{"EightHoursWest", "PST8", kMarch4th, 7, "2011-03-04:09:05:09.007", "PST",
                      "Time Zone: GMT - 8:00"},
        LocalTimeCase{"HalfHourWest", "NST3:30", kMarch4th, 999, "2011-03-04:13:35:09.999", "NST",
                      "Time Zone: GMT - 3:30"},
        LocalTimeCase{"HalfHourEast", "IST-5:30", kMarch4th, 0, "2011-03-04:22:35:09.000", "IST",
                      "Time Zone: GMT + 5:30"},
        LocalTimeCase{"EastAcrossMidnight", "JST-9", kMarch4th, 0, "2011-03-05:02:05:09.000", "JST",
                      "Time Zone: GMT + 9:00"},
        LocalTimeCase{"NumericZoneName", "<+0545>-5:45", kMarch4th, 0, "2011-03-04:22:50:09.000",
                      "+0545", "Time Zone: GMT + 5:45"},
        LocalTimeCase{"LocalStillInOldYear", "EST5", kNewYearUtc, 500, "2010-12-31:23:30:00.500",
                      "EST",
                      "Cannot calculate local time zone relative to GMT when local and GMT in "
                      "different year."},
        LocalTimeCase{"LocalAlreadyInNewYear", "JST-9", kNewYearUtc - 10 * 3600, 0,
                      "2011-01-01:03:30:00.000", "JST",
                      "Cannot calculate local time zone relative to GMT when local and GMT in "
                      "different year."}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(AuditRecord, ConstructorsFillTheFieldsAndStampTheRecord) {
    const std::regex stamp(R"(\d{4}-\d{2}-\d{2}:\d{2}:\d{2}:\d{2}\.\d{3})");

    AuditRecord unknown;
    EXPECT_EQ(kTypeUnknown, unknown.type);
    EXPECT_EQ("0", unknown.session_id);
    EXPECT_EQ(kComponentUnknown, unknown.component_id);
    EXPECT_EQ(kFormatUnknown, unknown.message_format);
    EXPECT_TRUE(unknown.request_id.empty() && unknown.message.empty());
    EXPECT_TRUE(std::regex_match(unknown.time_stamp, stamp)) << unknown.time_stamp;

    AuditRecord shortForm(kI, "12", "7", kQXRQ, kSUCC, "done", "tail");
    EXPECT_EQ("12", shortForm.session_id);
    EXPECT_EQ("7", shortForm.request_id);
    EXPECT_EQ(kSUCC, shortForm.message_format);
    EXPECT_EQ("done", shortForm.message);
    EXPECT_EQ("tail", shortForm.aux_tail);
    EXPECT_TRUE(shortForm.aux_1.empty() && shortForm.aux_5.empty());
    EXPECT_TRUE(std::regex_match(shortForm.time_stamp, stamp));
    EXPECT_EQ(0u, shortForm.difference_from_GMT.rfind("Time Zone: GMT ", 0));

    AuditRecord longForm(kE, "12", "8", kQXPB, kTRVE, "failed", "a1", "a2", "a3", "a4", "a5",
                         "tail");
    EXPECT_EQ("a1", longForm.aux_1);
    EXPECT_EQ("a5", longForm.aux_5);
    EXPECT_EQ(kQXPB, longForm.component_id);
}

}  // namespace
