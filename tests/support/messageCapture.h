// Sends the Messenger's output to a private file for the duration of a test,
// so that tests can read back exactly which numbered messages were shown.
//   MessageCapture capture;
//   ... code that shows messages ...
//   EXPECT_EQ(capture.Text(), "AFP-0043: -nbrows\n");
#pragma once

#include <unistd.h>

#include <cstdio>
#include <string>

#include "messenger.h"
#include "processRunner.h"

class MessageCapture {
  public:
    MessageCapture() {
        char pattern[] = "/tmp/afp-messages-XXXXXX";
        ::close(::mkstemp(pattern));
        m_path = pattern;
        Reset();
        Messenger::m_sErrorLogFileName = m_path;
    }
    ~MessageCapture() {
        Reset();
        Messenger::m_sErrorLogFileName.clear();
        std::remove(m_path.c_str());
    }
    MessageCapture(const MessageCapture&) = delete;
    MessageCapture& operator=(const MessageCapture&) = delete;

    // Everything written so far.
    std::string Text() const {
        if (Messenger::m_fpErrorLogFile != nullptr) {
            std::fflush(Messenger::m_fpErrorLogFile);
        }
        return ReadFile(m_path);
    }

  private:
    // Closes the log and forgets the audit file, so that no banner or open
    // file carries over between tests.
    static void Reset() {
        if (Messenger::m_fpErrorLogFile != nullptr) {
            std::fclose(Messenger::m_fpErrorLogFile);
            Messenger::m_fpErrorLogFile = nullptr;
        }
        Messenger::m_sAuditLogFileName.clear();
        Messenger::m_isParsingNewLog = false;
    }

    std::string m_path;
};
