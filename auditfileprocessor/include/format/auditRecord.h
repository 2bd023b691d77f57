// One audit record as a writer holds it: the fixed fields of a record line,
// with the local time stamp, time-zone abbreviation (UTF-8) and offset from
// GMT taken from the clock when the record is made.
//   AuditRecord start(AuditSupport::kI, "0", "0", AuditSupport::kQXES, AuditSupport::kSRV,
//                     "srvhost:8010", "");
//   // start.time_stamp == "2011-03-04:17:05:09.042", start.time_zone == "CET", ...
#pragma once

#include <ctime>
#include <mutex>
#include <string>

#include "auditSupport.h"

class AuditRecord {
  public:
    // Serialises the C library's time conversions, which are not reentrant.
    static std::mutex m_csAudit;
    static const char* const kAuditCSName;  // "Audit CS to protect localtime fn()"
    // The offset text when local time and GMT lie in different years.
    static const char* const kDifferentYearText;

    // An unknown record: type, component and format unknown, session "0".
    AuditRecord();
    AuditRecord(AuditSupport::TypeCode recordType, std::string sessionId,
                const std::string& requestId, AuditSupport::ComponentCode component,
                AuditSupport::FormatCode format, const std::string& text,
                const std::string& auxTail);
    AuditRecord(AuditSupport::TypeCode recordType, std::string sessionId,
                const std::string& requestId, AuditSupport::ComponentCode component,
                AuditSupport::FormatCode format, const std::string& text, const std::string& aux1,
                const std::string& aux2, const std::string& aux3, const std::string& aux4,
                const std::string& aux5, const std::string& auxTail);
    // Copies every field; the copy keeps the original's time stamp.
    AuditRecord(const AuditRecord&) = default;
    AuditRecord& operator=(const AuditRecord&) = default;

    // Fills time_stamp, time_zone and difference_from_GMT from the clock.
    void determineLocalTime();
    // The same for a given moment, in seconds since the epoch and milliseconds.
    void determineLocalTime(time_t seconds, unsigned milliseconds);

    AuditSupport::TypeCode type;
    std::string time_stamp;
    std::string time_zone;
    std::string difference_from_GMT;
    std::string session_id;
    std::string request_id;
    // Auxiliary message texts; never stored by AuditInfo.
    std::string aux_1;
    std::string aux_2;
    std::string aux_3;
    std::string aux_4;
    std::string aux_5;
    AuditSupport::ComponentCode component_id;
    AuditSupport::FormatCode message_format;
    std::string message;
    // A further text; never stored by AuditInfo.
    std::string aux_tail;

  private:
    // The three time texts of that moment; the caller holds m_csAudit.
    void formatLocalTime(time_t seconds, unsigned milliseconds);
};
