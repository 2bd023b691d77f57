// The usage records of a request: its codes, names and counts arrive as three
// lines; the codes and names wait in the parser until the counts come, then
// one row is written per dimension, level and measure the request used.
#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

#include "auditSupport.h"
#include "checkedLine.h"
#include "codeNameValueTuple.h"
#include "dimUsageTableAccess.h"
#include "krlAssertError.h"
#include "levelUsageTableAccess.h"
#include "measureUsageTableAccess.h"
#include "parser.h"
#include "qxdsUsageInfoHelper.h"
#include "sqldbapi.h"

using AuditSupport::message;
using AuditSupport::msg_format;
using AuditSupport::request_id;
using AuditSupport::session_id;
using UsageArray = std::vector<std::vector<CodeNameValueTuple>>;

namespace {

std::vector<std::vector<std::string>> UsageFields(const std::string& text) {
    std::vector<std::vector<std::string>> records(1);
    records.back().emplace_back();
    for (char c : text) {
        if (c == ';') {
            records.emplace_back(1);
        } else if (c == ',') {
            records.back().emplace_back();
        } else {
            records.back().back() += c;
        }
    }
    return records;
}

// What does not fit between a request's usage codes and another of its usage
// texts, in plain words; empty when their shapes agree.
std::string UsageMismatch(const std::string& codes, const std::string& other, const char* what) {
    const auto codeRecords = UsageFields(codes);
    const auto otherRecords = UsageFields(other);
    const std::string head = std::string("usage ") + what + " for ";
    if (codeRecords.size() != otherRecords.size()) {
        return head + std::to_string(otherRecords.size()) + " records but codes for " +
               std::to_string(codeRecords.size());
    }
    for (size_t record = 0; record < codeRecords.size(); ++record) {
        const size_t given = otherRecords[record].size(), coded = codeRecords[record].size();
        if (given == coded) {
            continue;
        }
        // Record 0 lists the dimensions and, last, the measures.
        const bool dimensions = record == 0;
        const std::string kind = dimensions ? " dimensions"
                                 : record + 1 == codeRecords.size()
                                     ? " measures"
                                     : " levels of dimension " + std::to_string(record);
        std::string mismatch = head;
        mismatch += std::to_string(dimensions ? given - 1 : given);
        mismatch += kind;
        mismatch += " but codes for ";
        mismatch += std::to_string(dimensions ? coded - 1 : coded);
        return mismatch;
    }
    return "";
}

bool IsUsageFormat(const std::string& format) {
    for (AuditSupport::FormatCode code :
         {AuditSupport::kQXUC, AuditSupport::kQXUH, AuditSupport::kQXUD, AuditSupport::kQXUI}) {
        if (format == AuditSupport::GetFormat(code)) {
            return true;
        }
    }
    return false;
}

struct UsageTables {
    Table* dimensions;
    Table* levels;
    Table* measures;
};

// Sends the rows of one request's usage ahead, one per dimension, level and
// measure; false as soon as one cannot be sent, and when the usage names none.
bool InsertUsageRows(SQLDB* db, const UsageTables& tables, const std::string& sessionId,
                     const std::string& requestId, const UsageArray& usageArray) {
    bool inserted = false;
    // Record 0 lists the dimensions, its last field standing for the measures;
    // record k holds the levels of dimension k, the last record the measures.
    const std::vector<CodeNameValueTuple>& dimensions = usageArray.front();
    const std::size_t dimensionCount = dimensions.empty() ? 0 : dimensions.size() - 1;
    for (std::size_t dimension = 0; dimension < dimensionCount; ++dimension) {
        const CodeNameValueTuple& dimensionUsage = dimensions.at(dimension);
        DimUsageTableAccess dimRow(tables.dimensions);
        dimRow.m_sessionId.SetValue(sessionId);
        dimRow.m_requestId.SetValue(requestId);
        dimRow.m_dimCode.SetValue(dimensionUsage.code);
        dimRow.m_dimName.SetValue(dimensionUsage.name);
        dimRow.m_dimCount.SetValue(dimensionUsage.value);
        inserted = dimRow.InsertAhead(db);
        if (!inserted) {
            return false;
        }

        for (const CodeNameValueTuple& levelUsage : usageArray.at(dimension + 1)) {
            LevelUsageTableAccess levelRow(tables.levels);
            levelRow.m_sessionId.SetValue(sessionId);
            levelRow.m_requestId.SetValue(requestId);
            levelRow.m_dimCode.SetValue(dimensionUsage.code);
            levelRow.m_levelCode.SetValue(levelUsage.code);
            levelRow.m_levelName.SetValue(levelUsage.name);
            levelRow.m_levelCount.SetValue(levelUsage.value);
            inserted = levelRow.InsertAhead(db);
            if (!inserted) {
                return false;
            }
        }
    }

    for (const CodeNameValueTuple& measureUsage : usageArray.back()) {
        MeasureUsageTableAccess measureRow(tables.measures);
        measureRow.m_sessionId.SetValue(sessionId);
        measureRow.m_requestId.SetValue(requestId);
        measureRow.m_measureCode.SetValue(measureUsage.code);
        measureRow.m_measureName.SetValue(measureUsage.name);
        measureRow.m_measureCount.SetValue(measureUsage.value);
        inserted = measureRow.InsertAhead(db);
        if (!inserted) {
            return false;
        }
    }
    return inserted;
}

}  // namespace

bool Parser::ParseUsage(const std::vector<std::string>& fields) {
    const CheckedLine line(fields);
    if (!IsUsageFormat(line[msg_format])) {
        Explain(UnknownFormat(line[msg_format], "a usage record"));
    }
    // clang-format off
    KRL_ASSERT(0 == strcmp( line[ msg_format ].c_str(), AuditSupport::GetFormat( AuditSupport::kQXUC ) ) || 0 == strcmp( line[ msg_format ].c_str(), AuditSupport::GetFormat( AuditSupport::kQXUH ) ) || 0 == strcmp( line[ msg_format ].c_str(), AuditSupport::GetFormat( AuditSupport::kQXUD ) ) || 0 == strcmp( line[ msg_format ].c_str(), AuditSupport::GetFormat( AuditSupport::kQXUI ) ), "auditfileprocessor/source/parser", 910);
    // clang-format on

    const std::string& sessionId = line[session_id];
    const std::string& requestId = line[request_id];
    // Joined without a separator, as the usage lines have always been keyed.
    const std::string requestKey = sessionId + requestId;
    const std::string& format = line[msg_format];

    // A second codes or names line for a waiting request keeps the first text.
    if (format == AuditSupport::GetFormat(AuditSupport::kQXUC)) {
        m_waitingUsage.KeepCodes(requestKey, line[message]);
        return true;
    }
    if (format == AuditSupport::GetFormat(AuditSupport::kQXUI)) {
        return true;
    }
    if (format == AuditSupport::GetFormat(AuditSupport::kQXUH)) {
        m_waitingUsage.KeepNames(requestKey, line[message]);
        return true;
    }

    // Only the counts line is left: it takes the codes and names waiting for it.
    std::string usageCodes;
    std::string usageNames;
    if (!m_waitingUsage.Take(requestKey, usageCodes, usageNames)) {
        return Refuse("no usage codes and names of this request were read before its counts");
    }
    // Read again before the resume point, it only consumes them: its rows are
    // in the database already.
    if (!resumeReached) {
        return true;
    }

    // What does not fit is only worked out for a line that is refused.
    const auto mismatch = [&] {
        const std::string counts = UsageMismatch(usageCodes, line[message], "counts");
        return counts.empty() ? UsageMismatch(usageCodes, usageNames, "names") : counts;
    };
    UsageArray usageArray;
    try {
        qxdsUsageInfoHelper::buildUsageArray(usageCodes, usageNames, line[message], usageArray);
    } catch (const KRLAssertError&) {
        Explain(mismatch());
        throw;
    }
    if (usageArray.empty()) {
        const std::string why = mismatch();
        return Refuse(why.empty() ? "the usage codes, names and counts of this request do not match"
                                  : why);
    }

    const std::vector<CodeNameValueTuple>& dimensions = usageArray.front();
    const std::size_t dimensionCount = dimensions.empty() ? 0 : dimensions.size() - 1;
    if (dimensionCount != 0 && usageArray.size() <= dimensionCount) {
        Explain("usage codes for " + std::to_string(dimensionCount) +
                " dimensions but levels for " + std::to_string(usageArray.size() - 1));
    }
    KRL_ASSERT(dimensionCount == 0 || usageArray.size() > dimensionCount,
               "auditfileprocessor/source/parser", 951);

    const UsageTables tables{TableFor(kDimUsageTable), TableFor(kLevelUsageTable),
                             TableFor(kMeasureUsageTable)};
    if (!InsertUsageRows(db, tables, sessionId, requestId, usageArray)) {
        return false;
    }
    // The rows went ahead without waiting; their outcome comes now.
    return db->runAhead();
}
