// Reading audit files line by line, the checks each line must pass, and the
// reject file that keeps the lines the loader refused.
#include "auditLineReader.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "../../support/processRunner.h"
#include "auditLineCheck.h"
#include "rejectFile.h"

namespace {

using Status = AuditLineReader::Status;

struct Step {
    Status status;
    std::string text;
    uint64_t offset;  // Offset() after the step
};

TEST(AuditLineReader, HandsOutWholeLinesAndTheHeadOfTooLongOnes) {
    const size_t kBig = 5 * 1024 * 1024;
    const std::string x16(16, 'x');
    const struct {
        const char* name;
        std::string content;
        size_t limit;
        std::vector<Step> steps;
    } cases[] = {
        {"empty file", "", 16, {{Status::kEnd, "", 0}}},
        {"LF, CRLF, lone CR and empty lines",
         "a\r\nb\nc\rd\r\n\r\n\n",
         16,
         {{Status::kLine, "a", 3},
          {Status::kLine, "b", 5},
          {Status::kLine, "c\rd", 10},
          {Status::kLine, "", 12},
          {Status::kLine, "", 13},
          {Status::kEnd, "", 13}}},
        {"unterminated last line keeps its CR",
         "a\nlast\r",
         16,
         {{Status::kLine, "a", 2},
          {Status::kUnterminatedLine, "last\r", 7},
          {Status::kEnd, "", 7}}},
        {"NUL bytes are text",
         std::string("a\0b\n\0\n", 6),
         16,
         {{Status::kLine, std::string("a\0b", 3), 4},
          {Status::kLine, std::string(1, '\0'), 6},
          {Status::kEnd, "", 6}}},
        {"the limit, with and without CR, and one past it",
         x16 + "\n" + x16 + "\r\n" + x16 + "y\n" + x16 + "yz",
         16,
         {{Status::kLine, x16, 17},
          {Status::kLine, x16, 35},
          {Status::kTooLong, x16, 53},
          {Status::kTooLong, x16, 71},
          {Status::kEnd, "", 71}}},
        {"a huge line is skipped and the next comes out right",
         std::string(kBig, 'y') + "\nnext\n",
         16,
         {{Status::kTooLong, std::string(16, 'y'), kBig + 1},
          {Status::kLine, "next", kBig + 6},
          {Status::kEnd, "", kBig + 6}}},
        {"lines across buffer refills, a CRLF split between two",
         std::string(65535, 'a') + "\r\n" + std::string(200000, 'c') + "\n",
         AuditLineReader::kMaxLineBytes,
         {{Status::kLine, std::string(65535, 'a'), 65537},
          {Status::kLine, std::string(200000, 'c'), 265538},
          {Status::kEnd, "", 265538}}},
    };
    ScratchDirectory dir;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string path = dir / "qxes_audit_1.log";
        WriteFile(path, c.content);
        AuditLineReader reader(c.limit);
        ASSERT_TRUE(reader.Open(path)) << std::strerror(errno);
        std::string text;
        for (const Step& step : c.steps) {
            EXPECT_EQ(reader.Next(text), step.status);
            EXPECT_EQ(text, step.text);
            EXPECT_EQ(reader.Offset(), step.offset);
            // Memory stays bounded by the limit, however long the line.
            EXPECT_LE(text.capacity(), 2 * c.limit + 64);
        }
        uint64_t size = 0;
        EXPECT_TRUE(reader.CurrentSize(size));
        EXPECT_EQ(size, c.content.size());
    }
}

TEST(AuditLineReader, OpensOnlyRegularFilesAndNeverThroughALink) {
    ScratchDirectory dir;
    WriteFile(dir / "file.log", "x\n");
    ASSERT_EQ(::symlink("file.log", (dir / "link.log").c_str()), 0);
    ASSERT_EQ(::mkfifo((dir / "fifo.log").c_str(), 0600), 0);
    const struct {
        const char* name;
        int error;  // 0: opens
    } cases[] = {{"file.log", 0},
                 {"link.log", ELOOP},
                 {"fifo.log", EINVAL},
                 {".", EINVAL},
                 {"absent.log", ENOENT}};
    for (const auto& c : cases) {
        AuditLineReader reader;
        errno = 0;
        EXPECT_EQ(reader.Open(dir / c.name), c.error == 0) << c.name;
        EXPECT_EQ(errno, c.error) << c.name;
    }
}

TEST(RejectFile, AppendsWholeRecordsToAPrivateFileNeverThroughALink) {
    ScratchDirectory dir;
    std::string reason;
    EXPECT_TRUE(RejectFile().Append("a.log", {1, 0}, "cause", "line", reason));

    const std::string path = dir / "errors.rejected";
    RejectFile rejects(path);
    ASSERT_TRUE(
        rejects.Append("/audit/qxes_audit_1.log", {42, 5120}, "too few fields", "a\tb", reason))
        << reason;
    ASSERT_TRUE(rejects.Append("/audit/qxes_audit_2.log", {7, 0}, "bad date", "", reason))
        << reason;
    const std::string records =
        "# /audit/qxes_audit_1.log:42: at byte 5120: too few fields\na\tb\n"
        "# /audit/qxes_audit_2.log:7: at byte 0: bad date\n\n";
    EXPECT_EQ(ReadFile(path), records);
    struct stat info;
    ASSERT_EQ(::stat(path.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0600u);

    const std::string link = dir / "link.rejected";
    ASSERT_EQ(::symlink("errors.rejected", link.c_str()), 0);
    RejectFile linked(link);
    EXPECT_FALSE(linked.Append("a.log", {1, 0}, "cause", "line", reason));
    EXPECT_NE(reason.find(std::strerror(ELOOP)), std::string::npos) << reason;
    EXPECT_EQ(ReadFile(path), records);
}

TEST(AuditLineCheck, Utf8BoundariesAndMalformedSequences) {
    struct Case {
        std::string text;
        bool valid;
    };
    const std::vector<Case> cases = {
        {"plain ASCII", true},
        {"M\xc3\xbcller \xe2\x82\xac \xf0\x9f\x98\x80", true},  // 2, 3 and 4 bytes
        {"\xef\xbf\xbf\xf4\x8f\xbf\xbf", true},                 // U+FFFF, U+10FFFF
        {"\xed\x9f\xbf\xee\x80\x80", true},                     // around the surrogates
        {"\xc0\xaf", false},                                    // overlong "/"
        {"\xe0\x9f\xbf", false},                                // overlong 3 bytes
        {"\xf0\x8f\xbf\xbf", false},                            // overlong 4 bytes
        {"\xed\xa0\x80", false},                                // surrogate
        {"\xf4\x90\x80\x80", false},                            // above U+10FFFF
        {"\xff", false},
        {"\x80", false},          // a continuation byte alone
        {"\xe2\x82", false},      // cut short at the end
        {"\xe2\x28\xac", false},  // bad continuation
        {std::string("a\0b", 3), true},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(AuditLineCheck::IsValidUtf8(c.text), c.valid) << ::testing::PrintToString(c.text);
    }
}

TEST(AuditLineCheck, RecordsNeedARealTimeStamp) {
    std::vector<std::string> line = {
        "I", "2011-03-04:17:05:09.042", "UTC", "x", "s", "r", "QXRQ", "SUCC", "done"};
    EXPECT_TRUE(AuditLineCheck::IsWellFormedRecord(line));
    for (const char* stamp : {"2011-02-30:10:00:00.000", "2011-03-0", "2011-03-04 17:05:09",
                              "2011-03-04:24:00:00.000"}) {
        line[1] = stamp;
        EXPECT_FALSE(AuditLineCheck::IsWellFormedRecord(line)) << stamp;
    }
}

}  // namespace
