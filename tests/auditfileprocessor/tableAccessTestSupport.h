// Test helpers for the row-access layer: a private SQL dump file, and the
// message numbers the Messenger showed.
//   SqlDumpCapture dump;                // g_SQLDumpFile now points at a temp file
//   session.Insert(db);
//   EXPECT_EQ(dump.Text(), "\nINSERT INTO QXES_SESSION(...) VALUES (...)");
#pragma once

#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "programGlobals.h"

class SqlDumpCapture {
  public:
    SqlDumpCapture() : m_previous(g_SQLDumpFile), m_file(std::tmpfile()) { g_SQLDumpFile = m_file; }
    ~SqlDumpCapture() {
        g_SQLDumpFile = m_previous;
        if (m_file != nullptr) {
            std::fclose(m_file);
        }
    }
    SqlDumpCapture(const SqlDumpCapture&) = delete;
    SqlDumpCapture& operator=(const SqlDumpCapture&) = delete;

    // Everything written so far.
    std::string Text() const {
        std::string text;
        if (m_file == nullptr) {
            return text;
        }
        std::fflush(m_file);
        std::rewind(m_file);
        char buffer[4096];
        size_t count = 0;
        while ((count = std::fread(buffer, 1, sizeof(buffer), m_file)) > 0) {
            text.append(buffer, count);
        }
        std::fseek(m_file, 0, SEEK_END);
        return text;
    }

  private:
    FILE* m_previous;
    FILE* m_file;
};

// The numbers of the "AFP-NNNN:" messages in a captured message text, in order.
inline std::vector<int> MessageNumbers(const std::string& text) {
    std::vector<int> numbers;
    std::istringstream lines(text);
    std::string line;
    while (std::getline(lines, line)) {
        if (line.size() > 9 && line.compare(0, 4, "AFP-") == 0 && line[8] == ':') {
            numbers.push_back(std::stoi(line.substr(4, 4)));
        }
    }
    return numbers;
}
