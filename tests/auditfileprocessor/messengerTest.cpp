#include "messenger.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "../support/messageCapture.h"

namespace {

TEST(SubstituteStrings, ReplacesTheFirstOccurrenceOfEachPlaceholder) {
    struct Case {
        std::string text;
        std::vector<std::string> inserts;
        std::string expected;
    };
    const std::vector<Case> cases = {
        {"file %0 at %1", {"a.log", "12"}, "file a.log at 12"},
        {"%0 and %0", {"x"}, "x and %0"},
        {"%1 before %0", {"zero", "one"}, "one before zero"},
        {"no placeholder", {"x"}, "no placeholder"},
        {"%0", {"%1"}, "%1"},            // an insert is not searched again for its own number...
        {"%0 %1", {"%1", "y"}, "y %1"},  // ...but a later insert's search may find it
        {"100%0", {"%"}, "100%"},
    };
    for (const Case& c : cases) {
        std::string text = c.text;
        SubstituteStrings(text, c.inserts);
        EXPECT_EQ(text, c.expected) << c.text;
    }
}

TEST(Messenger, WithoutCatalogueShowsIdentifierAndInserts) {
    MessageCapture capture;
    Messenger::Get().DisplayMessage(26, "I\tline", "/audit/qxes_audit_1.log");
    Messenger::Get().DisplayMessage(8);
    EXPECT_EQ(capture.Text(), "AFP-0026: I\tline /audit/qxes_audit_1.log\nAFP-0008:\n");
}

TEST(Messenger, OneBannerPerAuditFileWithMessages) {
    MessageCapture capture;
    const std::string stars(47, '*');
    Messenger::Get().DisplayMessage("before any file");
    Messenger::m_sAuditLogFileName = "/audit/a.log";
    Messenger::m_isParsingNewLog = true;
    Messenger::Get().DisplayMessage("first");
    Messenger::Get().DisplayMessage("second");
    Messenger::m_sAuditLogFileName = "/audit/quiet.log";
    Messenger::m_isParsingNewLog = true;
    Messenger::m_sAuditLogFileName = "/audit/b.log";
    Messenger::m_isParsingNewLog = true;
    Messenger::Get().DisplayMessage("third");
    EXPECT_EQ(capture.Text(), "before any file\n" + stars + "\n* /audit/a.log\nfirst\nsecond\n" +
                                  stars + "\n* /audit/b.log\nthird\n");
}

TEST(Messenger, ErrorLogIsAppendedNotTruncated) {
    MessageCapture capture;
    Messenger::Get().DisplayMessage("one");
    std::fclose(Messenger::m_fpErrorLogFile);
    Messenger::m_fpErrorLogFile = nullptr;
    Messenger::Get().DisplayMessage("two");
    EXPECT_EQ(capture.Text(), "one\ntwo\n");
}

}  // namespace
