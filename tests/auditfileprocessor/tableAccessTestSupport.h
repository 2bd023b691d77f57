// Test helpers for the row-access layer: a private SQL dump file, and the
// numbers of the messages the Messenger showed.
//   SqlDumpCapture dump;  // g_SQLDumpFile points at a temporary file meanwhile
//   session.Insert(db);
//   EXPECT_EQ(dump.Text(), "\nINSERT INTO QXES_SESSION(...) VALUES (...)");
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "programGlobals.h"

class SqlDumpCapture {
  public:
    SqlDumpCapture() : m_file(std::tmpfile()) { g_SQLDumpFile = m_file; }
    ~SqlDumpCapture() {
        g_SQLDumpFile = nullptr;
        std::fclose(m_file);
    }
    SqlDumpCapture(const SqlDumpCapture&) = delete;
    SqlDumpCapture& operator=(const SqlDumpCapture&) = delete;

    // Everything written so far.
    std::string Text() const {
        std::string text(static_cast<size_t>(std::ftell(m_file)), '\0');
        std::rewind(m_file);
        text.resize(std::fread(&text[0], 1, text.size(), m_file));
        return text;
    }

  private:
    FILE* m_file;
};

// The numbers of the "AFP-NNNN:" messages in a captured message text, in order.
inline std::vector<int> MessageNumbers(const std::string& text) {
    std::vector<int> numbers;
    for (size_t line = 0; line < text.size(); line = text.find('\n', line) + 1) {
        if (text.compare(line, 4, "AFP-") == 0 && text.size() > line + 8 && text[line + 8] == ':') {
            numbers.push_back(std::stoi(text.substr(line + 4, 4)));
        }
        if (text.find('\n', line) == std::string::npos) {
            break;
        }
    }
    return numbers;
}
