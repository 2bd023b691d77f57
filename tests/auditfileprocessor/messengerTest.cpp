#include "messenger.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "../support/messageCapture.h"

namespace {

TEST(SubstituteStrings, ReplacesTheFirstOccurrenceOfEachPlaceholderInOrder) {
    const struct {
        std::string text;
        std::vector<std::string> inserts;
        std::string expected;
    } cases[] = {
        {"file %0 at %1", {"a.log", "12"}, "file a.log at 12"},
        {"%0 and %0", {"x"}, "x and %0"},
        {"%1 before %0", {"zero", "one"}, "one before zero"},
        {"no placeholder", {"x"}, "no placeholder"},
        {"%0", {"%1"}, "%1"},            // an insert is not searched again for its own number...
        {"%0 %1", {"%1", "y"}, "y %1"},  // ...but a later insert's search may find it
        {"100%0", {"%"}, "100%"},
    };
    for (const auto& c : cases) {
        std::string text = c.text;
        SubstituteStrings(text, c.inserts);
        EXPECT_EQ(c.expected, text) << c.text;
    }
}

TEST(Messenger, ErrorLogHasOneBannerPerAuditFileWithMessagesAndIsAppended) {
    MessageCapture capture;
    const std::string stars(47, '*');
    Messenger::Get().DisplayMessage(26, "I\tline", "/audit/qxes_audit_1.log");
    for (const char* file : {"/audit/a.log", "/audit/quiet.log", "/audit/b.log"}) {
        Messenger::m_sAuditLogFileName = file;
        Messenger::m_isParsingNewLog = true;
        if (file != std::string("/audit/quiet.log")) {
            Messenger::Get().DisplayMessage(std::string("in ") + file);
        }
    }
    std::fclose(Messenger::m_fpErrorLogFile);  // the next message reopens it
    Messenger::m_fpErrorLogFile = nullptr;
    Messenger::Get().DisplayMessage("again");
    EXPECT_EQ("AFP-0026: I\tline /audit/qxes_audit_1.log\n" + stars +
                  "\n* /audit/a.log\nin /audit/a.log\n" + stars +
                  "\n* /audit/b.log\nin /audit/b.log\nagain\n",
              capture.Text());
}

}  // namespace
