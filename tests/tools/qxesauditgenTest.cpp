// The audit-file writer: its clock against the C library, and a seed that
// fixes its output. The lines themselves are checked by every end-to-end
// load, which must refuse none of them.
#include <gtest/gtest.h>

#include <ctime>
#include <map>
#include <random>
#include <string>

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
