#include "sqlValueCheck.h"

#include <cstddef>
#include <cstdint>
#include <limits>

#include "columnData.h"

namespace {

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

// Reads `count` digits at `pos` into `number`; false if any is not a digit.
bool ReadDigits(const std::string& text, size_t pos, size_t count, int& number) {
    number = 0;
    for (size_t i = pos; i < pos + count; ++i) {
        if (!IsDigit(text[i])) {
            return false;
        }
        number = number * 10 + (text[i] - '0');
    }
    return true;
}

int DaysInMonth(int year, int month) {
    static const int kDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (month == 2 && ((year % 4 == 0 && year % 100 != 0) || year % 400 == 0)) {
        return 29;
    }
    return kDays[month - 1];
}

}  // namespace

bool SqlValueCheck::IsValidNumeric(const std::string& value, SqlColType columnType) {
    if (value == ColumnData::kNull) {
        return true;
    }
    const uint64_t max = columnType == kSqlColInteger
                             ? static_cast<uint64_t>(std::numeric_limits<int32_t>::max())
                             : static_cast<uint64_t>(std::numeric_limits<int64_t>::max());
    size_t pos = 0;
    bool negative = false;
    if (pos < value.size() && value[pos] == '-') {
        negative = true;
        ++pos;
    }
    if (pos == value.size()) {
        return false;
    }
    // Two's complement: the negative range is one larger than the positive.
    const uint64_t limit = negative ? max + 1 : max;
    uint64_t magnitude = 0;
    for (; pos < value.size(); ++pos) {
        if (!IsDigit(value[pos])) {
            return false;
        }
        const uint64_t digit = static_cast<uint64_t>(value[pos] - '0');
        if (magnitude > (limit - digit) / 10) {
            return false;
        }
        magnitude = magnitude * 10 + digit;
    }
    return true;
}

bool SqlValueCheck::IsValidTimestamp(const std::string& value) {
    if (value == ColumnData::kNull) {
        return true;
    }
    // "YYYY-MM-DD HH:MM:SS" is 19 characters; a fraction adds "." and 1 to 6 digits.
    const size_t kBaseLength = 19;
    if (value.size() < kBaseLength || value.size() == kBaseLength + 1 ||
        value.size() > kBaseLength + 7) {
        return false;
    }
    if (value[4] != '-' || value[7] != '-' || value[10] != ' ' || value[13] != ':' ||
        value[16] != ':') {
        return false;
    }
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
    if (!ReadDigits(value, 0, 4, year) || !ReadDigits(value, 5, 2, month) ||
        !ReadDigits(value, 8, 2, day) || !ReadDigits(value, 11, 2, hour) ||
        !ReadDigits(value, 14, 2, minute) || !ReadDigits(value, 17, 2, second)) {
        return false;
    }
    if (year < 1 || month < 1 || month > 12 || day < 1 || day > DaysInMonth(year, month) ||
        hour > 23 || minute > 59 || second > 59) {
        return false;
    }
    if (value.size() > kBaseLength) {
        if (value[kBaseLength] != '.') {
            return false;
        }
        for (size_t i = kBaseLength + 1; i < value.size(); ++i) {
            if (!IsDigit(value[i])) {
                return false;
            }
        }
    }
    return true;
}

bool SqlValueCheck::HasNulByte(const std::string& value) {
    return value.find('\0') != std::string::npos;
}
