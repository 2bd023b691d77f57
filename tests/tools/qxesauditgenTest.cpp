#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "../support/auditFiles.h"
#include "auditDirectoryWriter.h"
#include "auditGenOptions.h"
#include "auditTrafficGenerator.h"

namespace {

using auditFiles::Fields;

struct RecordedFile {
    std::string name;
    std::vector<Fields> lines;
};

// Passes everything on to the directory writer and keeps a copy of the fields.
class RecordingSink : public AuditLineSink {
  public:
    explicit RecordingSink(const std::string& directory) : m_writer(directory) {}
    void beginFile(const std::string& fileName) override {
        files.push_back({fileName, {}});
        m_writer.beginFile(fileName);
    }
    void writeRecord(const AuditLine& line) override {
        files.back().lines.push_back(
            {std::string(line.type), std::string(line.time_stamp), std::string(line.time_zone),
             std::string(line.difference_from_GMT), std::string(line.session_id),
             std::string(line.request_id), std::string(line.component_id),
             std::string(line.message_format), std::string(line.message)});
        m_writer.writeRecord(line);
    }
    void endFile() override { m_writer.endFile(); }

    std::vector<RecordedFile> files;

  private:
    AuditDirectoryWriter m_writer;
};

std::vector<RecordedFile> Generate(const std::string& directory, uint64_t seed) {
    AuditGenOptions options;
    options.outputDirectory = directory;
    options.seed = seed;
    options.files = 3;
    options.linesPerFile = 400;
    options.sessions = 6;
    options.live = true;
    RecordingSink sink(directory);
    AuditTrafficGenerator(options, "UTC", "Time Zone: GMT + 0:00", sink).run();
    return sink.files;
}

// The loader's split: on tabs, empty pieces dropped.
Fields Split(const std::string& line) {
    Fields pieces;
    std::istringstream in(line);
    for (std::string piece; std::getline(in, piece, '\t');) {
        if (!piece.empty()) {
            pieces.push_back(piece);
        }
    }
    return pieces;
}

TEST(Qxesauditgen, EveryLineSplitsBackIntoTheFieldsThatWereWritten) {
    ScratchDirectory directory;
    const std::vector<RecordedFile> files = Generate(directory.path(), 11);
    ASSERT_EQ(files.size(), 4u);
    for (const RecordedFile& file : files) {
        std::string expected = AuditSupport::kAuditFileHeader;
        for (const Fields& fields : file.lines) {
            const std::string record = auditFiles::Record(fields);
            expected += record;
            EXPECT_EQ(Split(record.substr(0, record.size() - 1)), fields) << file.name;
        }
        EXPECT_EQ(ReadFile(directory / file.name), expected) << file.name;
    }
}

TEST(Qxesauditgen, SameSeedGivesTheSameBytesAndAnotherSeedDoesNot) {
    ScratchDirectory first, second, third;
    Generate(first.path(), 77);
    Generate(second.path(), 77);
    Generate(third.path(), 78);
    auto contents = [](const std::string& directory) {
        std::map<std::string, std::string> files;
        for (const std::string& name : NamesIn(directory)) {
            files[name] = ReadFile(directory + "/" + name);
        }
        return files;
    };
    EXPECT_EQ(contents(first.path()), contents(second.path()));
    EXPECT_NE(contents(first.path()), contents(third.path()));
}

}  // namespace
