#include "reportQueries.h"

#include <stdexcept>
#include <utility>

#include "rdxSqlException.h"
#include "sqldbapi.h"

namespace {

const char kFacts[] = "QXES_REQUEST_FACTS";
const char kFailure[] = "SUM(CASE WHEN f.OUTCOME = 'failure' THEN 1 ELSE 0 END)";

int64_t Number(const std::optional<std::string>& value) {
    if (!value || value->empty()) {
        return 0;  // SUM over no rows
    }
    size_t used = 0;
    // PostgreSQL may write a whole numeric result with a fraction of zeros.
    const long long number = std::stoll(*value, &used);
    if (used != value->size() && (*value)[used] != '.') {
        throw std::runtime_error("the database returned '" + *value + "' for a count");
    }
    return number;
}

std::string Text(const std::optional<std::string>& value, const char* absent = "") {
    return value ? *value : absent;
}

}  // namespace

const std::vector<int> ReportQueries::kPercentileRanks = {50, 75, 90, 95, 99, 100};

ReportQueries::ReportQueries(SQLDB& db, std::string since, std::string until)
    : m_db(db), m_since(std::move(since)), m_until(std::move(until)) {}

UsageReport ReportQueries::read() {
    UsageReport report;
    report.since = m_since;
    report.until = m_until;
    m_db.startTransaction();
    try {
        try {
            rows(std::string("SELECT COUNT(*) FROM ") + kFacts + " WHERE 1 = 0");
        } catch (const RDXSQLException& error) {
            throw std::runtime_error(
                std::string("the database has no view ") + kFacts +
                " (it was created from an older schema: run the schema file again to add the "
                "report's indexes and views): " +
                error.getErrorCodeMessage());
        }
        readTotals(report);
        readSlots(report);
        readDurations(report);
        readUsage(report);
        readStartups(report);
    } catch (...) {
        m_db.commit(0);
        throw;
    }
    // Nothing was written: ending the transaction either way releases it.
    m_db.commit(0);
    return report;
}

std::vector<ReportQueries::Row> ReportQueries::rows(const std::string& sql) {
    std::vector<Row> result;
    m_db.execute(sql, SQLDB::kQuery);
    for (SqlDA* row = m_db.fetch(); row != nullptr; row = m_db.fetch()) {
        result.push_back(row->row);
    }
    m_db.freeRequest();
    return result;
}

std::string ReportQueries::literal(const std::string& timestamp) const {
    // SQLite keeps time stamps as text in one fixed form, which compares in
    // time order; PostgreSQL wants a typed literal.
    return (m_db.usesTypedDateLiterals() ? "TIMESTAMP '" : "'") + timestamp + "'";
}

std::string ReportQueries::period(const std::string& column) const {
    std::string condition;
    if (!m_since.empty()) {
        condition += " AND " + column + " >= " + literal(m_since);
    }
    if (!m_until.empty()) {
        condition += " AND " + column + " < " + literal(m_until);
    }
    return condition;
}

std::vector<UsageReport::Count> ReportQueries::counts(const std::string& sql) {
    std::vector<UsageReport::Count> result;
    for (const Row& row : rows(sql + " ORDER BY 2 DESC, 1 LIMIT " + std::to_string(kTopCount))) {
        result.push_back({Text(row.at(0), "(none)"), Number(row.at(1)), Number(row.at(2))});
    }
    return result;
}

void ReportQueries::readTotals(UsageReport& report) {
    const Row row = rows(std::string("SELECT COUNT(*), ") + kFailure +
                         ", COUNT(DISTINCT f.SESSION_ID), COUNT(DISTINCT f.USER_NAME),"
                         " MIN(f.START_DATE_TIME), MAX(f.START_DATE_TIME) FROM " +
                         kFacts + " f WHERE 1 = 1" + period("f.START_DATE_TIME"))
                        .at(0);
    report.totals = {Number(row.at(0)), Number(row.at(1)), Number(row.at(2)),
                     Number(row.at(3)), Text(row.at(4)),   Text(row.at(5))};
}

void ReportQueries::readSlots(UsageReport& report) {
    const std::string from = std::string(", COUNT(*), ") + kFailure + " FROM " + kFacts +
                             " f WHERE 1 = 1" + period("f.START_DATE_TIME");
    for (const Row& row :
         rows("SELECT f.REQUEST_DAY" + from + " GROUP BY f.REQUEST_DAY ORDER BY f.REQUEST_DAY")) {
        report.days.push_back({Text(row.at(0)), Number(row.at(1)), Number(row.at(2))});
    }
    report.hours.resize(24);
    for (int hour = 0; hour < 24; ++hour) {
        report.hours[hour].label = (hour < 10 ? "0" : "") + std::to_string(hour);
    }
    for (const Row& row : rows("SELECT f.REQUEST_HOUR" + from + " GROUP BY f.REQUEST_HOUR")) {
        const int64_t hour = Number(row.at(0));
        if (hour < 0 || hour > 23) {
            throw std::runtime_error("the database returned the hour " + std::to_string(hour));
        }
        report.hours[hour].requests = Number(row.at(1));
        report.hours[hour].failures = Number(row.at(2));
    }
}

void ReportQueries::readDurations(UsageReport& report) {
    // Web and remote requests: an administration action starts and ends at once.
    const std::string timed = std::string(" FROM ") + kFacts +
                              " f WHERE f.DURATION_MS IS NOT NULL AND f.REQUEST_TYPE IN (0, 1)" +
                              period("f.START_DATE_TIME");
    report.timedRequests = Number(rows("SELECT COUNT(*)" + timed).at(0).at(0));
    const int64_t count = report.timedRequests;
    if (count > 0) {
        // Nearest rank: the smallest duration that at least rank percent reach.
        size_t next = 0;
        int64_t position = 0;
        m_db.execute("SELECT f.DURATION_MS" + timed + " ORDER BY f.DURATION_MS", SQLDB::kQuery);
        for (SqlDA* row = m_db.fetch(); row != nullptr && next < kPercentileRanks.size();
             row = m_db.fetch(), ++position) {
            const int64_t milliseconds = Number(row->row.at(0));
            while (next < kPercentileRanks.size() &&
                   (kPercentileRanks[next] * count + 99) / 100 - 1 == position) {
                report.percentiles.push_back({kPercentileRanks[next++], milliseconds});
            }
        }
        m_db.freeRequest();
    }
    for (const Row& row :
         rows("SELECT f.SESSION_ID, f.REQUEST_ID, f.START_DATE_TIME, f.USER_NAME, f.OUTCOME,"
              " f.DURATION_MS" +
              timed + " ORDER BY f.DURATION_MS DESC, f.SESSION_ID, f.REQUEST_ID LIMIT " +
              std::to_string(kTopCount))) {
        report.slowest.push_back({Text(row.at(0)), Text(row.at(1)), Text(row.at(2)),
                                  Text(row.at(3), "(none)"), Text(row.at(4)), Number(row.at(5))});
    }
}

void ReportQueries::readUsage(UsageReport& report) {
    const std::string facts =
        std::string(" FROM ") + kFacts + " f WHERE 1 = 1" + period("f.START_DATE_TIME");
    report.topUsers = counts(std::string("SELECT f.USER_NAME, COUNT(*), ") + kFailure + facts +
                             " GROUP BY f.USER_NAME");
    report.userClasses = counts(std::string("SELECT f.USER_CLASS, COUNT(*), ") + kFailure + facts +
                                " AND f.USER_CLASS IS NOT NULL GROUP BY f.USER_CLASS");
    report.adminActions = counts(std::string("SELECT f.ACTION, COUNT(*), ") + kFailure + facts +
                                 " AND f.REQUEST_TYPE = 2 GROUP BY f.ACTION");
    // Sources are recorded per session: a source counts the sessions that
    // opened it and made a request in the period.
    report.dataSources = counts(
        "SELECT u.SOURCE_NAME, COUNT(DISTINCT u.SESSION_ID), 0 FROM QXES_USER_SOURCE u"
        " WHERE EXISTS (SELECT 1 FROM QXES_REQUEST r WHERE r.SESSION_ID = u.SESSION_ID" +
        period("r.START_DATE_TIME") + ") GROUP BY u.SOURCE_NAME");

    // Usage: the requests of the period that used each name.
    auto usage = [this](const char* table, const char* name, const char* code) {
        const std::string label = std::string("COALESCE(x.") + name + ", x." + code + ")";
        return counts("SELECT " + label + ", COUNT(*), 0 FROM " + table +
                      " x JOIN QXES_REQUEST r ON r.SESSION_ID = x.SESSION_ID AND r.REQUEST_ID ="
                      " x.REQUEST_ID WHERE 1 = 1" +
                      period("r.START_DATE_TIME") + " GROUP BY " + label);
    };
    report.dimensions = usage("QXES_DIM_USAGE", "DIM_NAME", "DIM_CODE");
    report.levels = usage("QXES_LEVEL_USAGE", "LEVEL_NAME", "LEVEL_CODE");
    report.measures = usage("QXES_MEASURE_USAGE", "MEASURE_NAME", "MEASURE_CODE");
}

void ReportQueries::readStartups(UsageReport& report) {
    for (const Row& row : rows("SELECT d.SERVER_START_DATE_TIME, d.MACHINE_NAME, d.MACHINE_PORT,"
                               " d.QXES_VERSION FROM QXES_DISPATCHER d WHERE 1 = 1" +
                               period("d.SERVER_START_DATE_TIME") +
                               " ORDER BY d.SERVER_START_DATE_TIME, d.MACHINE_NAME")) {
        report.startups.push_back(
            {Text(row.at(0)), Text(row.at(1)), Text(row.at(3)), Number(row.at(2))});
    }
}
