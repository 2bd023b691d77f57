// Splitting an audit line into its fields, and the audit time stamp as the
// database reads it.
#include <cstring>
#include <string>
#include <vector>

#include "auditLineCheck.h"
#include "parser.h"

bool Parser::TokenizeLine(std::vector<std::string>& fields, const std::string& line) const {
    // The vector's strings are overwritten in place rather than rebuilt: lines
    // come by the million, and their fields mostly fit what the last line left.
    size_t count = 0;
    const char* const text = line.data();
    const size_t size = line.size();
    size_t start = 0;
    while (start < size) {
        const void* tab = std::memchr(text + start, '\t', size - start);
        const size_t stop =
            tab != nullptr ? static_cast<size_t>(static_cast<const char*>(tab) - text) : size;
        size_t pieceEnd = stop;
        while (pieceEnd > start && text[pieceEnd - 1] == '\n') {
            --pieceEnd;
        }
        // A piece that was only a newline is as empty as one between two tabs.
        if (pieceEnd > start) {
            if (count < fields.size()) {
                fields[count].assign(text + start, pieceEnd - start);
            } else {
                fields.emplace_back(text + start, pieceEnd - start);
            }
            ++count;
        }
        start = stop + 1;
    }
    fields.resize(count);
    return count <= AuditLineCheck::kFixedFieldCount;
}

void Parser::FixupDateTime(std::string& stamp) const {
    AuditLineCheck::ToDatabaseTimeStamp(stamp);
}
