// Where generated audit files go: a file is begun, receives its record lines
// in order, and is ended. The directory writer is the real sink; tests add
// their own to see the fields that were written.
//   sink.beginFile("qxes_audit_2011-03-04-17-05-09.log");
//   sink.writeRecord(line);
//   sink.endFile(lastWriteSecond);
#pragma once

#include <cstdint>
#include <string>

#include "auditLine.h"

class AuditLineSink {
  public:
    virtual ~AuditLineSink() = default;
    // Starts the file of that name (no directory); the header comes with it.
    virtual void beginFile(const std::string& fileName) = 0;
    virtual void writeRecord(const AuditLine& line) = 0;
    // Ends the file; its writer wrote to it last at `lastWriteSecond` (seconds
    // since the epoch), which the file's modification time then shows, as a
    // server's rolled file does.
    virtual void endFile(int64_t lastWriteSecond) = 0;
};
