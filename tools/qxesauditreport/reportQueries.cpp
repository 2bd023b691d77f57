#include "reportQueries.h"

#include <algorithm>
#include <map>
#include <stdexcept>
#include <utility>

#include "rdxSqlException.h"
#include "sqldbapi.h"

namespace {

const char kFacts[] = "QXES_REQUEST_FACTS";
const char kFailure[] = "SUM(CASE WHEN f.OUTCOME = 'failure' THEN 1 ELSE 0 END)";
// What a list shows for a name the database does not know.
const char kNone[] = "(none)";

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

// A time with exactly three decimals, as audit time stamps have them:
// PostgreSQL drops trailing zeros ("17:07:53.4"), SQLite returns what was stored.
std::string Moment(const std::optional<std::string>& value) {
    std::string text = Text(value);
    if (text.size() < 19) {
        return text;
    }
    std::string decimals = text.size() > 20 && text[19] == '.' ? text.substr(20, 3) : "";
    decimals.resize(3, '0');
    return text.substr(0, 19) + "." + decimals;
}

// Nearest rank: the smallest of the sorted values that at least rank percent reach.
int64_t NearestRank(const std::vector<int64_t>& sorted, int rank) {
    const size_t count = sorted.size();
    return sorted[(rank * count + 99) / 100 - 1];
}

// The biggest counts first, ties by name.
std::vector<UsageReport::Count> Top(const std::map<std::string, UsageReport::Count>& counts) {
    std::vector<UsageReport::Count> top;
    top.reserve(counts.size());
    for (const auto& entry : counts) {
        top.push_back(entry.second);
    }
    std::sort(top.begin(), top.end(), [](const UsageReport::Count& a, const UsageReport::Count& b) {
        return a.count != b.count ? a.count > b.count : a.name < b.name;
    });
    top.resize(std::min<size_t>(top.size(), ReportQueries::kTopCount));
    return top;
}

}  // namespace

const std::vector<int> ReportQueries::kPercentileRanks = {50, 75, 90, 95, 99, 100};
const char ReportQueries::kRemoteSources[] = "(remote sources)";

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
        readSlots(report);
        readPeople(report);
        readDurations(report);
        readUsage(report);
        readStartups(report);
    } catch (const std::exception&) {
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
        result.push_back({Text(row.at(0), kNone), Number(row.at(1)), Number(row.at(2))});
    }
    return result;
}

void ReportQueries::readSlots(UsageReport& report) {
    report.hours.resize(24);
    for (int hour = 0; hour < 24; ++hour) {
        report.hours[hour].label = (hour < 10 ? "0" : "") + std::to_string(hour);
    }
    // One pass for days, hours, totals and the first and last request.
    for (const Row& row :
         rows(std::string("SELECT f.REQUEST_DAY, f.REQUEST_HOUR, COUNT(*), ") + kFailure +
              ", MIN(f.START_DATE_TIME), MAX(f.START_DATE_TIME) FROM " + kFacts + " f WHERE 1 = 1" +
              period("f.START_DATE_TIME") +
              " GROUP BY f.REQUEST_DAY, f.REQUEST_HOUR ORDER BY f.REQUEST_DAY, f.REQUEST_HOUR")) {
        const std::string day = Text(row.at(0));
        const int64_t hour = Number(row.at(1)), requests = Number(row.at(2));
        const int64_t failures = Number(row.at(3));
        if (hour < 0 || hour > 23) {
            throw std::runtime_error("the database returned the hour " + std::to_string(hour));
        }
        if (report.days.empty() || report.days.back().label != day) {
            report.days.push_back({day, 0, 0});
        }
        for (UsageReport::Slot* slot : {&report.days.back(), &report.hours[hour]}) {
            slot->requests += requests;
            slot->failures += failures;
        }
        report.totals.requests += requests;
        report.totals.failures += failures;
        if (report.totals.first.empty()) {
            report.totals.first = Moment(row.at(4));
        }
        report.totals.last = Moment(row.at(5));
    }
    // The start-time index holds the session key: no need to reach the rows.
    report.totals.sessions =
        Number(rows("SELECT COUNT(DISTINCT r.SESSION_ID) FROM QXES_REQUEST r WHERE 1 = 1" +
                    period("r.START_DATE_TIME"))
                   .at(0)
                   .at(0));
}

void ReportQueries::readPeople(UsageReport& report) {
    // Users, classes and administration actions from one grouped pass.
    std::map<std::string, UsageReport::Count> users, classes, actions;
    for (const Row& row : rows(
             std::string("SELECT f.USER_NAME, f.USER_CLASS, f.REQUEST_TYPE, f.ACTION, COUNT(*), ") +
             kFailure + " FROM " + kFacts + " f WHERE 1 = 1" + period("f.START_DATE_TIME") +
             " GROUP BY f.USER_NAME, f.USER_CLASS, f.REQUEST_TYPE, f.ACTION")) {
        const int64_t requests = Number(row.at(4)), failures = Number(row.at(5));
        auto add = [&](std::map<std::string, UsageReport::Count>& into, const std::string& name) {
            UsageReport::Count& count = into[name];
            count.name = name;
            count.count += requests;
            count.failures += failures;
        };
        add(users, Text(row.at(0), kNone));
        if (row.at(1)) {
            add(classes, *row.at(1));
        }
        if (Number(row.at(2)) == 2) {
            add(actions, Text(row.at(3), kNone));
        }
    }
    report.totals.users = static_cast<int64_t>(users.size() - users.count(kNone));
    report.topUsers = Top(users);
    report.userClasses = Top(classes);
    report.adminActions = Top(actions);
}

void ReportQueries::readDurations(UsageReport& report) {
    // Web and remote requests: an administration action starts and ends at once.
    const std::string timed = std::string(" FROM ") + kFacts +
                              " f WHERE f.DURATION_MS IS NOT NULL AND f.REQUEST_TYPE IN (0, 1)" +
                              period("f.START_DATE_TIME");
    // Sorted as a whole, so that each day's share comes sorted too.
    std::vector<int64_t> durations;
    std::map<std::string, std::vector<int64_t>> daily;
    m_db.execute("SELECT f.REQUEST_DAY, f.DURATION_MS" + timed + " ORDER BY f.DURATION_MS",
                 SQLDB::kQuery);
    for (SqlDA* row = m_db.fetch(); row != nullptr; row = m_db.fetch()) {
        durations.push_back(Number(row->row.at(1)));
        daily[Text(row->row.at(0))].push_back(durations.back());
    }
    m_db.freeRequest();
    report.timedRequests = static_cast<int64_t>(durations.size());
    for (int rank : durations.empty() ? std::vector<int>() : kPercentileRanks) {
        report.percentiles.push_back({rank, NearestRank(durations, rank)});
    }
    for (UsageReport::Slot& day : report.days) {
        const auto found = daily.find(day.label);
        if (found != daily.end()) {
            day.timed = static_cast<int64_t>(found->second.size());
            day.medianMilliseconds = NearestRank(found->second, 50);
        }
    }
    for (const Row& row :
         rows("SELECT f.SESSION_ID, f.REQUEST_ID, f.START_DATE_TIME, f.USER_NAME, f.OUTCOME,"
              " f.DURATION_MS" +
              timed + " ORDER BY f.DURATION_MS DESC, f.SESSION_ID, f.REQUEST_ID LIMIT " +
              std::to_string(kTopCount))) {
        report.slowest.push_back({Text(row.at(0)), Text(row.at(1)), Moment(row.at(2)),
                                  Text(row.at(3), kNone), Text(row.at(4)), Number(row.at(5))});
    }
}

void ReportQueries::readUsage(UsageReport& report) {
    // Sources are recorded per session: a source counts the sessions that
    // opened it and made a request in the period. The loader stores every
    // file read for another server under the name "-", which says nothing.
    const std::string source =
        std::string("CASE WHEN u.SOURCE_NAME = '-' AND u.SOURCE_TYPE = 'REMOTE' THEN '") +
        kRemoteSources + "' ELSE u.SOURCE_NAME END";
    report.dataSources =
        counts("SELECT " + source +
               ", COUNT(DISTINCT u.SESSION_ID), 0 FROM QXES_USER_SOURCE u"
               " WHERE EXISTS (SELECT 1 FROM QXES_REQUEST r WHERE r.SESSION_ID = u.SESSION_ID" +
               period("r.START_DATE_TIME") + ") GROUP BY " + source);

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
            {Moment(row.at(0)), Text(row.at(1)), Text(row.at(3)), Number(row.at(2))});
    }
}
