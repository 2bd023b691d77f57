#include "auditLineCheck.h"

#include "sqlValueCheck.h"

namespace {

bool IsContinuation(unsigned char byte) {
    return (byte & 0xC0) == 0x80;
}

}  // namespace

void AuditLineCheck::ToDatabaseTimeStamp(std::string& stamp) {
    const std::string::size_type colon = stamp.find(':');
    if (colon != std::string::npos) {
        stamp[colon] = ' ';
    }
}

bool AuditLineCheck::IsValidUtf8(const std::string& text) {
    const size_t size = text.size();
    size_t i = 0;
    while (i < size) {
        const unsigned char lead = static_cast<unsigned char>(text[i]);
        if (lead < 0x80) {
            ++i;
            continue;
        }
        size_t length;
        // The smallest and largest second byte that keeps the sequence in its
        // shortest form and inside U+10FFFF, surrogates excluded.
        unsigned char low = 0x80;
        unsigned char high = 0xBF;
        if (lead >= 0xC2 && lead <= 0xDF) {
            length = 2;
        } else if (lead >= 0xE0 && lead <= 0xEF) {
            length = 3;
            low = lead == 0xE0 ? 0xA0 : 0x80;
            high = lead == 0xED ? 0x9F : 0xBF;
        } else if (lead >= 0xF0 && lead <= 0xF4) {
            length = 4;
            low = lead == 0xF0 ? 0x90 : 0x80;
            high = lead == 0xF4 ? 0x8F : 0xBF;
        } else {
            return false;
        }
        if (size - i < length) {
            return false;
        }
        const unsigned char second = static_cast<unsigned char>(text[i + 1]);
        if (second < low || second > high) {
            return false;
        }
        for (size_t k = 2; k < length; ++k) {
            if (!IsContinuation(static_cast<unsigned char>(text[i + k]))) {
                return false;
            }
        }
        i += length;
    }
    return true;
}

bool AuditLineCheck::IsWellFormedRecord(const std::vector<std::string>& fields) {
    return WhyMalformed(fields).empty();
}

std::string AuditLineCheck::WhyMalformed(const std::vector<std::string>& fields) {
    for (size_t position = 0; position < fields.size(); ++position) {
        if (!IsValidUtf8(fields[position])) {
            return "field " + std::to_string(position + 1) + " is not valid UTF-8";
        }
    }
    const size_t stampPosition = AuditSupport::time_stamp;
    if (fields.size() <= stampPosition) {
        return std::string();
    }
    std::string stamp = fields[stampPosition];
    ToDatabaseTimeStamp(stamp);
    if (!SqlValueCheck::IsValidTimestamp(stamp)) {
        return "the time stamp " + fields[stampPosition] + " is not a real date and time";
    }
    return std::string();
}
