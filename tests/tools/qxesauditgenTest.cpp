#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "ConversionUtils.h"
#include "auditDirectoryWriter.h"
#include "auditGenOptions.h"
#include "auditSupport.h"
#include "auditTrafficGenerator.h"

namespace fs = std::filesystem;
using namespace AuditSupport;

namespace {

const char kZone[] = "UTC";
const char kOffset[] = "Time Zone: GMT + 0:00";

struct RecordedFile {
    std::string name;
    std::vector<std::vector<std::string>> lines;
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

class TempDirectory {
  public:
    TempDirectory() {
        char pattern[] = "/tmp/qxesauditgenTestXXXXXX";
        path = mkdtemp(pattern);
    }
    ~TempDirectory() { fs::remove_all(path); }
    std::string path;
};

AuditGenOptions makeOptions(const std::string& directory, uint64_t seed) {
    AuditGenOptions options;
    options.outputDirectory = directory;
    options.seed = seed;
    options.files = 3;
    options.linesPerFile = 400;
    options.sessions = 6;
    options.live = true;
    return options;
}

std::vector<RecordedFile> generate(const AuditGenOptions& options) {
    RecordingSink sink(options.outputDirectory);
    AuditTrafficGenerator(options, kZone, kOffset, sink).run();
    return sink.files;
}

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream content;
    content << in.rdbuf();
    return content.str();
}

// The loader's split: on tabs, empty pieces dropped, newlines trimmed.
std::vector<std::string> splitLine(const std::string& line) {
    std::vector<std::string> pieces;
    std::string piece;
    std::istringstream in(line);
    while (std::getline(in, piece, '\t')) {
        while (!piece.empty() && piece.back() == '\n') {
            piece.pop_back();
        }
        if (!piece.empty()) {
            pieces.push_back(piece);
        }
    }
    return pieces;
}

std::vector<std::string> splitOn(const std::string& text, char separator) {
    std::vector<std::string> pieces;
    std::string piece;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\\' && i + 1 < text.size() && (text[i + 1] == ',' || text[i + 1] == ';')) {
            piece += '\\';
            piece += text[++i];
        } else if (text[i] == separator) {
            pieces.push_back(piece);
            piece.clear();
        } else {
            piece += text[i];
        }
    }
    pieces.push_back(piece);
    return pieces;
}

bool isWholeNumber(const std::string& text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

TEST(Qxesauditgen, EveryLineSplitsBackIntoTheFieldsThatWereWritten) {
    TempDirectory directory;
    std::vector<RecordedFile> files = generate(makeOptions(directory.path, 11));
    ASSERT_EQ(4u, files.size());
    for (const RecordedFile& file : files) {
        std::string content = readFile(directory.path + "/" + file.name);
        std::istringstream in(content);
        std::string line;
        ASSERT_TRUE(std::getline(in, line));
        EXPECT_EQ(kAuditFileHeader, line + "\n");
        size_t index = 0;
        while (std::getline(in, line)) {
            ASSERT_LT(index, file.lines.size()) << file.name;
            EXPECT_EQ(file.lines[index], splitLine(line + "\n")) << file.name << " " << index;
            std::string rebuilt;
            for (const std::string& field : file.lines[index]) {
                rebuilt += field + "\t\t";
            }
            EXPECT_EQ(rebuilt, line);
            ++index;
        }
        EXPECT_EQ(file.lines.size(), index) << file.name;
        EXPECT_EQ('\n', content.back());
    }
}

TEST(Qxesauditgen, FilesOpenWithVersionGeneralAndStartupAndAreNamedAsTheServerNamesThem) {
    TempDirectory directory;
    std::vector<RecordedFile> files = generate(makeOptions(directory.path, 5));
    const std::regex rolled(R"(qxes_audit_\d{4}-\d{2}-\d{2}-\d{2}-\d{2}-\d{2}\.log)");
    std::string previousName;
    for (size_t i = 0; i < files.size(); ++i) {
        const RecordedFile& file = files[i];
        if (i + 1 < files.size()) {
            EXPECT_TRUE(std::regex_match(file.name, rolled)) << file.name;
            EXPECT_LT(previousName, file.name);
            previousName = file.name;
        } else {
            EXPECT_EQ("qxes_audit.log", file.name);
        }
        ASSERT_GE(file.lines.size(), 3u);
        EXPECT_EQ("V", file.lines[0][type]);
        EXPECT_EQ("1", file.lines[0][msg_format]);
        EXPECT_EQ("G", file.lines[1][type]);
        EXPECT_EQ(std::to_string(i + 1), file.lines[1][message]);
        EXPECT_EQ("I", file.lines[2][type]);
        EXPECT_EQ("QXES", file.lines[2][component_id]);
        EXPECT_EQ("SRV", file.lines[2][msg_format]);
        EXPECT_TRUE(std::regex_match(file.lines[2][message], std::regex(R"([a-z0-9.]+:\d+)")));
    }
    for (const auto& entry : fs::directory_iterator(directory.path)) {
        EXPECT_EQ(".log", entry.path().extension()) << entry.path();
    }
}

TEST(Qxesauditgen, ValuesFitTheirColumnsAndStampsIncrease) {
    TempDirectory directory;
    AuditGenOptions options = makeOptions(directory.path, 3);
    options.linesPerFile = 3000;
    options.sessionPrefix = "srvB-";
    std::vector<RecordedFile> files = generate(options);
    const std::regex stamp(R"(\d{4}-\d{2}-\d{2}:\d{2}:\d{2}:\d{2}\.\d{3})");
    std::string previousStamp;
    std::set<std::string> formatsSeen;
    for (const RecordedFile& file : files) {
        for (const auto& fields : file.lines) {
            const std::string context =
                file.name + ": " + fields[msg_format] + " " + fields[message];
            ASSERT_EQ(9u, fields.size());
            for (const std::string& field : fields) {
                EXPECT_FALSE(field.empty()) << context;
                EXPECT_EQ(std::string::npos, field.find_first_of("\t\n\r")) << context;
            }
            EXPECT_TRUE(std::regex_match(fields[time_stamp], stamp)) << context;
            EXPECT_LT(previousStamp, fields[time_stamp]) << context;
            previousStamp = fields[time_stamp];
            EXPECT_LT(GetTypeCode(fields[type]), kTypeUnknown) << context;
            EXPECT_LT(GetComponentCode(fields[component_id]), kComponentUnknown) << context;
            EXPECT_LT(GetFormatCode(fields[msg_format]), 25) << context;
            EXPECT_LE(fields[session_id].size(), 64u);
            EXPECT_LE(fields[request_id].size(), 64u);
            EXPECT_LE(fields[message].size(), 2000u);
            if (fields[session_id] != "0" && fields[session_id] != "-") {
                EXPECT_EQ(0u, fields[session_id].rfind("srvB-", 0)) << context;
            }
            formatsSeen.insert(fields[msg_format]);

            const std::string& format = fields[msg_format];
            if (format == "REQINFO") {
                std::vector<std::string> pieces = splitOn(fields[message], ',');
                ASSERT_EQ(5u, pieces.size()) << context;
                EXPECT_LE(pieces[0].size(), 255u);
                EXPECT_LE(pieces[1].size(), 64u);
                EXPECT_EQ('"', pieces[2].front());
                EXPECT_EQ('"', pieces[2].back());
                EXPECT_LE(pieces[2].size(), 1024u + 2);
                EXPECT_LE(pieces[3].size(), 1024u);
            } else if (format == "USR") {
                std::string name = fields[message];
                decodeUnicodeEscapeSequences(name, "UTF-8");
                EXPECT_LE(name.size(), 255u);
                EXPECT_EQ(std::string::npos, name.find("&#")) << context;
            } else if (fields[type] == "V") {
                EXPECT_TRUE(isWholeNumber(fields[msg_format])) << context;
            } else if (format == "FGN") {
                EXPECT_TRUE(isWholeNumber(fields[message])) << context;
            } else if (format == "LOGIN" || format == "COPY" || format == "MOVE") {
                EXPECT_EQ("QXES", fields[component_id]);
            }
        }
    }
    for (const char* format :
         {"REQINFO", "USR", "UC", "QXUC", "QXUH", "QXUD", "QXUI", "SUCC", "REQFAILE", "RESFAILE",
          "REDISPATCH", "REMOTE", "LOGIN", "COPY", "MOVE", "TRVR", "TRVS", "TRVE"}) {
        EXPECT_EQ(1u, formatsSeen.count(format)) << format;
    }
}

TEST(Qxesauditgen, UsageBlobsAreParallelAndDescribeDimensionsLevelsAndMeasures) {
    TempDirectory directory;
    std::vector<RecordedFile> files = generate(makeOptions(directory.path, 8));
    std::map<std::string, std::vector<std::string>> blobs;
    size_t checked = 0;
    for (const RecordedFile& file : files) {
        for (const auto& fields : file.lines) {
            const std::string& format = fields[msg_format];
            if (format != "QXUC" && format != "QXUH" && format != "QXUD") {
                continue;
            }
            std::vector<std::string>& blob = blobs[fields[session_id] + "/" + fields[request_id]];
            blob.push_back(fields[message]);
            if (format != "QXUD") {
                continue;
            }
            ASSERT_EQ(3u, blob.size());
            std::vector<std::string> codes = splitOn(blob[0], ';');
            std::vector<std::string> names = splitOn(blob[1], ';');
            std::vector<std::string> data = splitOn(blob[2], ';');
            ASSERT_EQ(codes.size(), names.size());
            ASSERT_EQ(codes.size(), data.size());
            size_t dimensions = splitOn(codes[0], ',').size() - 1;
            EXPECT_EQ(dimensions + 2, codes.size()) << blob[0];
            for (size_t record = 0; record < codes.size(); ++record) {
                std::vector<std::string> codeFields = splitOn(codes[record], ',');
                std::vector<std::string> nameFields = splitOn(names[record], ',');
                std::vector<std::string> dataFields = splitOn(data[record], ',');
                ASSERT_EQ(codeFields.size(), nameFields.size()) << blob[1];
                ASSERT_EQ(codeFields.size(), dataFields.size()) << blob[2];
                EXPECT_EQ(codeFields.size(),
                          std::set<std::string>(codeFields.begin(), codeFields.end()).size());
                for (size_t i = 0; i < codeFields.size(); ++i) {
                    EXPECT_FALSE(codeFields[i].empty());
                    EXPECT_LE(codeFields[i].size(), 255u);
                    EXPECT_LE(nameFields[i].size(), 255u);
                    EXPECT_TRUE(isWholeNumber(dataFields[i])) << blob[2];
                }
            }
            ++checked;
        }
    }
    EXPECT_GT(checked, 50u);
}

// Lines of one request, keyed by session and request, and the files they lie in.
std::map<std::string, std::set<size_t>> filesOfRequests(const std::vector<RecordedFile>& files) {
    std::map<std::string, std::set<size_t>> where;
    for (size_t index = 0; index < files.size(); ++index) {
        for (const auto& fields : files[index].lines) {
            if (fields[session_id] != "0" && fields[session_id] != "-") {
                where[fields[session_id] + "/" + fields[request_id]].insert(index);
            }
        }
    }
    return where;
}

TEST(Qxesauditgen, RequestsStayInOneFileUnlessSplittingIsAllowed) {
    for (bool split : {false, true}) {
        TempDirectory directory;
        AuditGenOptions options = makeOptions(directory.path, 21);
        options.files = 6;
        options.linesPerFile = 60;
        options.sessions = 20;
        options.splitUsage = split;
        size_t spanning = 0;
        for (const auto& request : filesOfRequests(generate(options))) {
            if (request.second.size() > 1) {
                ++spanning;
                EXPECT_EQ(2u, request.second.size()) << request.first;
            }
        }
        if (split) {
            EXPECT_GT(spanning, 0u);
        } else {
            EXPECT_EQ(0u, spanning);
        }
    }
}

TEST(Qxesauditgen, SameSeedGivesTheSameBytesAndAnotherSeedDoesNot) {
    TempDirectory first;
    TempDirectory second;
    TempDirectory third;
    generate(makeOptions(first.path, 77));
    generate(makeOptions(second.path, 77));
    generate(makeOptions(third.path, 78));
    auto contents = [](const std::string& directory) {
        std::map<std::string, std::string> files;
        for (const auto& entry : fs::directory_iterator(directory)) {
            files[entry.path().filename().string()] = readFile(entry.path().string());
        }
        return files;
    };
    EXPECT_EQ(contents(first.path), contents(second.path));
    EXPECT_NE(contents(first.path), contents(third.path));
}

TEST(AuditGenOptions, ParsesGoodCommandLinesAndRefusesBadOnes) {
    const std::string longPrefix(49, 'p');
    struct {
        std::vector<const char*> arguments;
        bool accepted;
    } cases[] = {
        {{"--output", "/tmp/x"}, true},
        {{"--output", "d", "--seed", "18446744073709551615", "--files", "0", "--live"}, true},
        {{"--output", "d", "--session-prefix", "server_2.a-"}, true},
        {{"--output", "d", "--session-prefix", ""}, true},
        {{}, false},
        {{"--seed", "1"}, false},
        {{"--output"}, false},
        {{"--output", "d", "--seed", "18446744073709551616"}, false},
        {{"--output", "d", "--files", "-1"}, false},
        {{"--output", "d", "--lines", "0"}, false},
        {{"--output", "d", "--lines", "12a"}, false},
        {{"--output", "d", "--sessions", "0"}, false},
        {{"--output", "d", "--session-prefix", "a b"}, false},
        {{"--output", "d", "--session-prefix", "a'b"}, false},
        {{"--output", "d", "--session-prefix", longPrefix.c_str()}, false},
        {{"--output", "d", "--verbose"}, false},
        {{"--output", "d", "extra"}, false},
    };
    for (const auto& c : cases) {
        std::vector<const char*> argv = {"qxesauditgen"};
        argv.insert(argv.end(), c.arguments.begin(), c.arguments.end());
        AuditGenOptions options;
        std::string error;
        bool accepted = options.parse(static_cast<int>(argv.size()), argv.data(), error);
        std::string shown;
        for (const char* argument : c.arguments) {
            shown += std::string(argument) + " ";
        }
        EXPECT_EQ(c.accepted, accepted) << shown;
        EXPECT_EQ(c.accepted, error.empty()) << shown << error;
    }
}

TEST(Qxesauditgen, ProgramCreatesItsDirectoryAndRefusesBadOptions) {
    TempDirectory directory;
    const std::string nested = directory.path + "/a/b";
    const std::string program = QXESAUDITGEN_PATH;
    int status = std::system((program + " --output " + nested + " --lines 50 >/dev/null").c_str());
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_EQ(1, std::distance(fs::directory_iterator(nested), fs::directory_iterator()));

    status = std::system((program + " --output " + nested + " --bogus 2>/dev/null").c_str());
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) != 0);
}

}  // namespace
