// The writer's lines themselves are checked by every end-to-end load, which
// must refuse none of them; here, that a seed fixes the output.
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "../support/processRunner.h"
#include "auditDirectoryWriter.h"
#include "auditGenOptions.h"
#include "auditTrafficGenerator.h"

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

}  // namespace
