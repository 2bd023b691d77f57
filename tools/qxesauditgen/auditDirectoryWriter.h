// Writes generated audit files into a directory. Each file is written under
// a temporary name and renamed when it is complete, so that a loader scanning
// the directory meanwhile never sees half a file under an audit file name.
//   AuditDirectoryWriter writer("/tmp/audit");       // creates the directory
//   writer.beginFile("qxes_audit_2011-03-04-17-05-09.log");
//   writer.writeRecord(line);
//   writer.endFile(lastWriteSecond);                 // throws on any I/O error
#pragma once

#include <cstdio>
#include <string>

#include "auditLineSink.h"

class AuditDirectoryWriter : public AuditLineSink {
  public:
    // Creates `directory` and its parents when missing; throws std::runtime_error.
    explicit AuditDirectoryWriter(std::string directory);
    // Closes and removes a file that was begun but not ended.
    ~AuditDirectoryWriter() override;
    AuditDirectoryWriter(const AuditDirectoryWriter&) = delete;
    AuditDirectoryWriter& operator=(const AuditDirectoryWriter&) = delete;

    void beginFile(const std::string& fileName) override;
    void writeRecord(const AuditLine& line) override;
    void endFile(int64_t lastWriteSecond) override;

  private:
    static constexpr size_t kFlushSize = 1 << 20;

    void append(std::string_view field) {
        m_buffer.append(field.data(), field.size());
        m_buffer.append("\t\t", 2);
    }
    void flush();
    [[noreturn]] void fail(const char* operation, const std::string& path, int error) const;

    std::string m_directory;
    std::string m_finalPath;
    std::string m_writingPath;
    FILE* m_file = nullptr;
    std::string m_buffer;
};
