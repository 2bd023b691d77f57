#include "auditRecord.h"

#include <langinfo.h>

#include <cstdio>
#include <cstdlib>
#include <utility>

#include "ConversionUtils.h"

std::mutex AuditRecord::m_csAudit;
const char* const AuditRecord::kAuditCSName = "Audit CS to protect localtime fn()";
const char* const AuditRecord::kDifferentYearText =
    "Cannot calculate local time zone relative to GMT when local and GMT in different year.";

AuditRecord::AuditRecord()
    : type(AuditSupport::kTypeUnknown),
      session_id("0"),
      component_id(AuditSupport::kComponentUnknown),
      message_format(AuditSupport::kFormatUnknown) {
    determineLocalTime();
}

AuditRecord::AuditRecord(AuditSupport::TypeCode recordType, std::string sessionId,
                         const std::string& requestId, AuditSupport::ComponentCode component,
                         AuditSupport::FormatCode format, const std::string& text,
                         const std::string& auxTail)
    : type(recordType),
      session_id(std::move(sessionId)),
      request_id(requestId),
      component_id(component),
      message_format(format),
      message(text),
      aux_tail(auxTail) {
    determineLocalTime();
}

AuditRecord::AuditRecord(AuditSupport::TypeCode recordType, std::string sessionId,
                         const std::string& requestId, AuditSupport::ComponentCode component,
                         AuditSupport::FormatCode format, const std::string& text,
                         const std::string& aux1, const std::string& aux2, const std::string& aux3,
                         const std::string& aux4, const std::string& aux5,
                         const std::string& auxTail)
    : type(recordType),
      session_id(std::move(sessionId)),
      request_id(requestId),
      aux_1(aux1),
      aux_2(aux2),
      aux_3(aux3),
      aux_4(aux4),
      aux_5(aux5),
      component_id(component),
      message_format(format),
      message(text),
      aux_tail(auxTail) {
    determineLocalTime();
}

void AuditRecord::determineLocalTime() {
    // The clock is read under the lock too, so that records made by several
    // threads get their stamps in the order they were made.
    std::lock_guard<std::mutex> lock(m_csAudit);
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    formatLocalTime(now.tv_sec, static_cast<unsigned>(now.tv_nsec / 1000000));
}

void AuditRecord::determineLocalTime(time_t seconds, unsigned milliseconds) {
    std::lock_guard<std::mutex> lock(m_csAudit);
    formatLocalTime(seconds, milliseconds);
}

void AuditRecord::formatLocalTime(time_t seconds, unsigned milliseconds) {
    tm local{};
    tm utc{};
    localtime_r(&seconds, &local);
    gmtime_r(&seconds, &utc);

    char buffer[255];
    size_t length = strftime(buffer, sizeof buffer, "%Y-%m-%d:%H:%M:%S", &local);
    snprintf(buffer + length, sizeof buffer - length, ".%03u", milliseconds % 1000);
    std::string stamp = buffer;

    length = strftime(buffer, sizeof buffer, "%Z", &local);
    std::string zone(buffer, length);
    const char* platformEncoding = nl_langinfo(CODESET);
    UTF8EncodeString(zone, platformEncoding != nullptr ? platformEncoding : "UTF-8");

    std::string offset;
    if (local.tm_year == utc.tm_year) {
        int minutes = (local.tm_yday - utc.tm_yday) * 1440 + (local.tm_hour - utc.tm_hour) * 60 +
                      (local.tm_min - utc.tm_min);
        int absolute = std::abs(minutes);
        snprintf(buffer, sizeof buffer, "Time Zone: GMT %c %d:%02d", minutes < 0 ? '-' : '+',
                 absolute / 60, absolute % 60);
        offset = buffer;
    } else {
        offset = kDifferentYearText;
    }

    time_stamp = std::move(stamp);
    time_zone = std::move(zone);
    difference_from_GMT = std::move(offset);
}
