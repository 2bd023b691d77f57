#include "stampClock.h"

#include <gtest/gtest.h>

#include <ctime>
#include <random>
#include <string>

namespace {

// The calendar itself is checked against the C library below.
TEST(StampClock, AdvancingRendersTheNewSecondAndTheFileStamp) {
    struct {
        int64_t start;
        uint32_t advance;
        const char* stamp;
        const char* fileStamp;
    } cases[] = {
        {0, 0, "1970-01-01:00:00:00.000", "1970-01-01-00-00-00"},
        {1299258309000, 42, "2011-03-04:17:05:09.042", "2011-03-04-17-05-09"},
        {1293839999999, 1, "2011-01-01:00:00:00.000", "2011-01-01-00-00-00"},
    };
    for (const auto& c : cases) {
        StampClock clock(c.start);
        clock.text();  // a second already rendered must be rendered again after moving on
        clock.advance(c.advance);
        EXPECT_EQ(c.stamp, clock.text()) << c.start;
        EXPECT_EQ(c.fileStamp, clock.fileStamp()) << c.start;
    }
}

TEST(StampClock, AgreesWithTheCLibraryInUtc) {
    std::mt19937_64 random(7);
    for (int i = 0; i < 20000; ++i) {
        const int64_t milliseconds = static_cast<int64_t>(random() % 8000000000000ULL);
        const time_t seconds = static_cast<time_t>(milliseconds / 1000);
        tm broken{};
        gmtime_r(&seconds, &broken);
        char text[64];
        const size_t length = strftime(text, sizeof text, "%Y-%m-%d:%H:%M:%S", &broken);
        snprintf(text + length, sizeof text - length, ".%03d",
                 static_cast<int>(milliseconds % 1000));
        ASSERT_EQ(StampClock(milliseconds).text(), text) << milliseconds;
    }
}

TEST(StampClock, NextSecondStartsAtZeroMilliseconds) {
    StampClock clock(1299258309999);
    clock.advanceToNextSecond();
    EXPECT_EQ("2011-03-04:17:05:10.000", clock.text());
    clock.advanceToNextSecond();
    EXPECT_EQ(1299258311, clock.seconds());
}

}  // namespace
