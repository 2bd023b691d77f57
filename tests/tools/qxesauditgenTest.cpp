// The audit-file writer: its clock against the C library, a seed that fixes
// its output, and traffic spread over working days. The lines themselves are checked by every
// end-to-end load, which must refuse none of them.
#include <gtest/gtest.h>

#include <ctime>
#include <map>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "../support/processRunner.h"
#include "auditDirectoryWriter.h"
#include "auditGenOptions.h"
#include "auditTrafficGenerator.h"
#include "stampClock.h"

namespace {

std::map<std::string, std::string> Generate(const std::string& directory, uint64_t seed) {
    AuditGenOptions options;
    options.outputDirectory = directory;
    options.seed = seed;
    options.files = 3;
    options.linesPerFile = 400;
    options.sessions = 6;
    options.live = true;
    AuditDirectoryWriter writer(directory);
    AuditTrafficGenerator(options, "UTC", "Time Zone: GMT + 0:00", writer).run();
    std::map<std::string, std::string> files;
    for (const std::string& name : NamesIn(directory)) {
        files[name] = ReadFile(directory + "/" + name);
    }
    return files;
}

TEST(Qxesauditgen, SameSeedGivesTheSameBytesAndAnotherSeedDoesNot) {
    ScratchDirectory first, second, third;
    const auto files = Generate(first.path(), 77);
    EXPECT_EQ(files.size(), 4u);  // three files and the live one
    EXPECT_EQ(files, Generate(second.path(), 77));
    EXPECT_NE(files, Generate(third.path(), 78));
}

// Keeps the time stamp, session and request of every line written.
struct StampSink : AuditLineSink {
    void beginFile(const std::string&) override {}
    void writeRecord(const AuditLine& line) override {
        lines.push_back({std::string(line.time_stamp),
                         std::string(line.session_id) + "/" + std::string(line.request_id)});
    }
    void endFile(int64_t) override {}
    std::vector<std::pair<std::string, std::string>> lines;
};

TEST(Qxesauditgen, DaysSpreadTheTrafficOverWorkingHoursWithoutStretchingRequests) {
    const struct {
        uint32_t days, files, lines;
        bool splitUsage;
    } cases[] = {{1, 1, 3000, false}, {3, 4, 2000, true}, {30, 1, 1000, false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.days) + " days");
        AuditGenOptions options;
        options.days = c.days;
        options.files = c.files;
        options.linesPerFile = c.lines;
        options.splitUsage = c.splitUsage;
        StampSink sink;
        AuditTrafficGenerator(options, "UTC", "Time Zone: GMT + 0:00", sink).run();
        std::set<std::string> days, hours;
        std::map<std::string, time_t> requestStart;
        for (size_t i = 0; i < sink.lines.size(); ++i) {
            const auto& [stamp, request] = sink.lines[i];
            ASSERT_TRUE(i == 0 || sink.lines[i - 1].first <= stamp) << stamp;
            days.insert(stamp.substr(0, 10));
            hours.insert(stamp.substr(11, 2));
            tm broken{};
            ASSERT_NE(nullptr, strptime(stamp.c_str(), "%Y-%m-%d:%H:%M:%S", &broken));
            // No quiet time within a request, or its duration would count it.
            const time_t first = requestStart.emplace(request, timegm(&broken)).first->second;
            if (request != "0/0") {
                EXPECT_LT(timegm(&broken) - first, 60) << request;
            }
        }
        EXPECT_EQ(c.days, days.size());
        EXPECT_GE(*hours.begin(), "08");
        EXPECT_LE(*hours.rbegin(), "17");
    }
}

TEST(StampClock, AdvancingRendersTheNewSecondAndTheFileStamp) {
    const struct {
        int64_t start;
        int32_t advance;  // -1: to the next second
        const char *stamp, *fileStamp;
    } cases[] = {
        {0, 0, "1970-01-01:00:00:00.000", "1970-01-01-00-00-00"},
        {1299258309000, 42, "2011-03-04:17:05:09.042", "2011-03-04-17-05-09"},
        {1293839999999, 1, "2011-01-01:00:00:00.000", "2011-01-01-00-00-00"},
        {1299258309999, -1, "2011-03-04:17:05:10.000", "2011-03-04-17-05-10"},
        {1299258309000, -1, "2011-03-04:17:05:10.000", "2011-03-04-17-05-10"},
    };
    for (const auto& c : cases) {
        StampClock clock(c.start);
        clock.text();  // a second already rendered must be rendered again after moving on
        c.advance < 0 ? clock.advanceToNextSecond() : clock.advance(c.advance);
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

}  // namespace
