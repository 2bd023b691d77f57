#include "auditLineCheck.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

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
