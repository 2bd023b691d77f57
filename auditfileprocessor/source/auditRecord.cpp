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

AuditRecord::AuditRecord(AuditSupport::TypeCode type, std::string session_id,
                         const std::string& request_id, AuditSupport::ComponentCode component_id,
                         AuditSupport::FormatCode message_format, const std::string& message,
                         const std::string& aux_tail)
    : type(type),
      session_id(std::move(session_id)),
      request_id(request_id),
      component_id(component_id),
      message_format(message_format),
      message(message),
      aux_tail(aux_tail) {
    determineLocalTime();
}

AuditRecord::AuditRecord(AuditSupport::TypeCode type, std::string session_id,
                         const std::string& request_id, AuditSupport::ComponentCode component_id,
                         AuditSupport::FormatCode message_format, const std::string& message,
                         const std::string& aux_1, const std::string& aux_2,
                         const std::string& aux_3, const std::string& aux_4,
                         const std::string& aux_5, const std::string& aux_tail)
    : type(type),
      session_id(std::move(session_id)),
      request_id(request_id),
      aux_1(aux_1),
      aux_2(aux_2),
      aux_3(aux_3),
      aux_4(aux_4),
      aux_5(aux_5),
      component_id(component_id),
      message_format(message_format),
      message(message),
      aux_tail(aux_tail) {
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
