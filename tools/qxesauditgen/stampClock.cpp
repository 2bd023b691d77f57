#include "stampClock.h"

#include <limits>

namespace {

void putDigits(char* target, int64_t value, int count) {
    for (int i = count - 1; i >= 0; --i) {
        target[i] = static_cast<char>('0' + value % 10);
        value /= 10;
    }
}

}  // namespace

StampClock::StampClock(int64_t startMilliseconds)
    : m_milliseconds(startMilliseconds),
      m_renderedSecond(std::numeric_limits<int64_t>::min()),
      m_text("0000-00-00:00:00:00.000") {}

void StampClock::advanceToNextSecond() {
    m_milliseconds = (seconds() + 1) * 1000;
}

int64_t StampClock::floorDiv(int64_t value, int64_t divisor) {
    int64_t quotient = value / divisor;
    return (value % divisor < 0) ? quotient - 1 : quotient;
}

const std::string& StampClock::text() {
    int64_t second = seconds();
    if (second != m_renderedSecond) {
        formatSecond(second, ':', ':', &m_text[0]);
        m_renderedSecond = second;
    }
    putDigits(&m_text[20], m_milliseconds - second * 1000, 3);
    return m_text;
}

std::string StampClock::fileStamp() const {
    std::string stamp(19, '0');
    formatSecond(seconds(), '-', '-', &stamp[0]);
    return stamp;
}

void StampClock::formatSecond(int64_t second, char dateTimeSeparator, char timeSeparator,
                              char* target) {
    int64_t days = floorDiv(second, 86400);
    int64_t ofDay = second - days * 86400;
    // Civil date from days since 1970-01-01 (proleptic Gregorian calendar).
    int64_t z = days + 719468;
    int64_t era = floorDiv(z, 146097);
    int64_t dayOfEra = z - era * 146097;
    int64_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    int64_t monthIndex = (5 * dayOfYear + 2) / 153;
    int64_t day = dayOfYear - (153 * monthIndex + 2) / 5 + 1;
    int64_t month = monthIndex < 10 ? monthIndex + 3 : monthIndex - 9;
    int64_t year = yearOfEra + era * 400 + (month <= 2 ? 1 : 0);

    putDigits(target, year, 4);
    target[4] = '-';
    putDigits(target + 5, month, 2);
    target[7] = '-';
    putDigits(target + 8, day, 2);
    target[10] = dateTimeSeparator;
    putDigits(target + 11, ofDay / 3600, 2);
    target[13] = timeSeparator;
    putDigits(target + 14, ofDay / 60 % 60, 2);
    target[16] = timeSeparator;
    putDigits(target + 17, ofDay % 60, 2);
}
