#include "loadProgress.h"

#include <cinttypes>
#include <cstdio>
#include <ctime>
#include <exception>
#include <vector>

#include "boundStatement.h"
#include "messenger.h"
#include "sqldbapi.h"
#include "tableAccess.h"

namespace {

const char kCreateProgress[] =
    "CREATE TABLE IF NOT EXISTS QXES_LOAD_PROGRESS (FILE_NAME TEXT NOT NULL, FILE_DIGEST TEXT NOT "
    "NULL, LAST_LINE BIGINT NOT NULL, FILE_OFFSET BIGINT NOT NULL, LOADED INTEGER NOT NULL, "
    "UPDATED_AT TIMESTAMP, PRIMARY KEY (FILE_NAME, FILE_DIGEST))";
const char kCreateUsage[] =
    "CREATE TABLE IF NOT EXISTS QXES_USAGE_PENDING (REQUEST_KEY TEXT NOT NULL, USAGE_CODES TEXT, "
    "USAGE_NAMES TEXT, SAVED_AT TIMESTAMP, PRIMARY KEY (REQUEST_KEY))";
const char kProbeProgress[] =
    "SELECT FILE_NAME, FILE_DIGEST, LAST_LINE, FILE_OFFSET, LOADED, UPDATED_AT FROM "
    "QXES_LOAD_PROGRESS WHERE 1 = 0";
const char kProbeUsage[] =
    "SELECT REQUEST_KEY, USAGE_CODES, USAGE_NAMES, SAVED_AT FROM QXES_USAGE_PENDING WHERE 1 = 0";

// Waiting usage older than this belongs to requests whose counts line never came.
constexpr std::time_t kUsageKeptSeconds = 30L * 24 * 60 * 60;

// A text literal; quotes doubled, which both databases read the same way.
std::string Literal(const std::string& text) {
    std::string escaped = text;
    TableAccess::CheckTextColumnValueForSingleQuotes(escaped);
    return '\'' + escaped + '\'';
}

// A bookkeeping statement in its two forms: the text with literals for the
// dump, and the shape with bound values that the database runs.
class Statement {
  public:
    // Appends SQL text that holds no value.
    Statement& Sql(const char* text) {
        m_text += text;
        m_shape += text;
        return *this;
    }
    Statement& Text(const std::string& value) {
        m_text += Literal(value);
        return Bind(BoundStatement::kText, false, value);
    }
    // The text waiting under `key`, or the SQL null.
    Statement& TextOf(const LoadProgress::UsageTexts& texts, const std::string& key) {
        const auto found = texts.find(key);
        if (found == texts.end()) {
            m_text += "NULL";
            return Bind(BoundStatement::kText, true, std::string());
        }
        return Text(found->second);
    }
    Statement& Number(uint64_t value, BoundStatement::Type type = BoundStatement::kBigInt) {
        const std::string digits = std::to_string(value);
        m_text += digits;
        return Bind(type, false, digits);
    }
    Statement& Stamp(const std::string& stamp) {
        m_text += Literal(stamp);
        return Bind(BoundStatement::kTimestamp, false, stamp);
    }

    const std::string& text() const { return m_text; }
    const BoundStatement& Bound() {
        m_bound.setShape(m_shape);
        return m_bound;
    }

  private:
    Statement& Bind(BoundStatement::Type type, bool null, const std::string& value) {
        m_bound.addValue(type, null, value);
        m_shape += '$' + std::to_string(m_bound.values().size());
        return *this;
    }

    std::string m_text;
    std::string m_shape;
    BoundStatement m_bound;
};

// A value the database can hold: texts with a NUL byte cannot be written.
bool Storable(const std::string& text) {
    return text.find('\0') == std::string::npos;
}

std::string TimeStamp(std::time_t when) {
    std::tm parts{};
    gmtime_r(&when, &parts);
    char text[32];
    std::strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S", &parts);
    return text;
}

// The file's own name, without directory, claim suffix or resume numbers:
// qxes_audit_x.120.340.log_processing is qxes_audit_x.log.
std::string ServerFileName(const std::string& path) {
    const std::string::size_type slash = path.rfind('/');
    std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
    const std::string claimSuffix = "_processing";
    if (name.size() > claimSuffix.size() &&
        name.compare(name.size() - claimSuffix.size(), claimSuffix.size(), claimSuffix) == 0) {
        name.resize(name.size() - claimSuffix.size());
    }
    const std::string::size_type dot = name.rfind('.');
    if (dot == std::string::npos) {
        return name;
    }
    std::string stem = name.substr(0, dot);
    const std::string extension = name.substr(dot);
    for (std::string::size_type numberDot = stem.rfind('.'); numberDot != std::string::npos;
         numberDot = stem.rfind('.')) {
        const std::string digits = stem.substr(numberDot + 1);
        if (digits.empty() || digits.find_first_not_of("0123456789") != std::string::npos) {
            break;
        }
        stem.resize(numberDot);
    }
    return stem + extension;
}

// FNV-1a, 64 bits: a digest to tell files apart, not a defence against forgery.
std::string Digest(const std::string& text) {
    uint64_t hash = 14695981039346656037ULL;
    for (unsigned char c : text) {
        hash ^= c;
        hash *= 1099511628211ULL;
    }
    char hex[17];
    std::snprintf(hex, sizeof(hex), "%016" PRIx64, hash);
    return hex;
}

// The digest of a file's first bytes, with how many it covers.
std::string HeadDigest(const std::string& head) {
    return Digest(head) + ":" + std::to_string(head.size());
}

// Whether the file begins with the bytes that `digest` was taken of.
bool HeadMatches(const std::string& digest, const std::string& head) {
    const std::string::size_type colon = digest.rfind(':');
    if (colon == std::string::npos) {
        return false;
    }
    const std::string count = digest.substr(colon + 1);
    if (count.empty() || count.size() > 9 ||
        count.find_first_not_of("0123456789") != std::string::npos) {
        return false;
    }
    const size_t bytes = std::stoul(count);
    return bytes <= head.size() && HeadDigest(head.substr(0, bytes)) == digest;
}

// The directory as the bookkeeping keys it: as given, without trailing slashes.
std::string DirectoryKey(std::string directory) {
    while (directory.size() > 1 && directory.back() == '/') {
        directory.pop_back();
    }
    return directory;
}

Statement& Where(Statement& statement, const LoadProgress::FileIdentity& file) {
    return statement.Sql(" WHERE FILE_NAME = ")
        .Text(file.name)
        .Sql(" AND FILE_DIGEST = ")
        .Text(file.digest);
}

void RunBound(SQLDB* db, Statement& statement) {
    SQLDB::WriteToDump(statement.text());
    db->execute(statement.Bound(), SQLDB::kUpdate);
    db->freeRequest();
}

}  // namespace

LoadProgress::FileIdentity LoadProgress::IdentityOf(const std::string& path,
                                                    const std::string& head,
                                                    const std::string& firstTwoLines) const {
    const std::string serverName = ServerFileName(path);
    return FileIdentity{m_directory + "/" + serverName, HeadDigest(head), head, serverName,
                        firstTwoLines};
}

std::string LoadProgress::StoredUsageKey(const std::string& requestKey) const {
    // Tabs separate an audit line's fields, so no request key holds one.
    return m_directory + '\t' + requestKey;
}

void LoadProgress::Prepare(SQLDB* db, const std::string& auditDirectory) {
    if (m_prepared) {
        return;
    }
    m_prepared = true;
    m_directory = DirectoryKey(auditDirectory);
    std::string reason;
    if (!TablesUsable(db, reason)) {
        try {
            db->startTransaction();
            Run(db, kCreateProgress);
            Run(db, kCreateUsage);
            db->commit(1);
        } catch (const std::exception& error) {
            db->commit(0);
            reason = error.what();
        }
        if (!TablesUsable(db, reason)) {
            Messenger::Get().DisplayMessage(48, reason);
            return;
        }
    }
    m_available = true;
    try {
        db->startTransaction();
        Run(db, "DELETE FROM QXES_USAGE_PENDING WHERE SAVED_AT < " +
                    Literal(TimeStamp(std::time(nullptr) - kUsageKeptSeconds)));
        db->commit(1);
    } catch (const std::exception&) {
        db->commit(0);  // old waiting usage only costs memory
    }
}

bool LoadProgress::TablesUsable(SQLDB* db, std::string& reason) {
    try {
        db->startTransaction();
        // Read to the end: a query may only fail once it runs.
        for (const char* probe : {kProbeProgress, kProbeUsage}) {
            if (db->execute(probe, SQLDB::kQuery) != nullptr) {
                db->fetch();
            }
            db->freeRequest();
        }
        db->commit(1);
        return true;
    } catch (const std::exception& error) {
        reason = error.what();
        db->commit(0);
        return false;
    }
}

bool LoadProgress::Find(SQLDB* db, FileIdentity& file, Mark& mark) {
    Statement statement;
    statement
        .Sql(
            "SELECT FILE_NAME, FILE_DIGEST, LAST_LINE, FILE_OFFSET, LOADED FROM "
            "QXES_LOAD_PROGRESS WHERE FILE_NAME = ")
        .Text(file.name)
        .Sql(" OR FILE_NAME = ")
        .Text(file.legacyName);
    SQLDB::WriteToDump(statement.text());
    bool found = false;
    if (db->execute(statement.Bound(), SQLDB::kQuery) != nullptr) {
        for (const SqlDA* row = db->fetch(); row != nullptr && !found; row = db->fetch()) {
            const auto& values = row->row;
            if (values.size() != 5 || !values[0] || !values[1] || !values[2] || !values[3] ||
                !values[4]) {
                continue;
            }
            const bool ours = *values[0] == file.name;
            found = ours ? HeadMatches(*values[1], file.head)
                         : *values[1] == Digest(file.firstTwoLines);
            if (found) {
                file.name = *values[0];
                file.digest = *values[1];
                mark.lastLine = static_cast<uint32_t>(std::stoul(*values[2]));
                mark.offset = std::stoull(*values[3]);
                mark.loaded = *values[4] != "0";
            }
        }
    }
    db->freeRequest();
    const std::string key = file.name + '\t' + file.digest;
    if (found) {
        m_markedFiles.insert(key);
    } else {
        m_markedFiles.erase(key);
    }
    return found;
}

void LoadProgress::Record(SQLDB* db, const FileIdentity& file, const Mark& mark) {
    const std::string key = file.name + '\t' + file.digest;
    const std::string now = TimeStamp(std::time(nullptr));
    Statement statement;
    if (m_markedFiles.count(key) != 0) {
        statement.Sql("UPDATE QXES_LOAD_PROGRESS SET LAST_LINE = ")
            .Number(mark.lastLine)
            .Sql(", FILE_OFFSET = ")
            .Number(mark.offset)
            .Sql(", LOADED = ")
            .Number(mark.loaded ? 1 : 0, BoundStatement::kInteger)
            .Sql(", UPDATED_AT = ")
            .Stamp(now);
        RunBound(db, Where(statement, file));
        return;
    }
    statement
        .Sql(
            "INSERT INTO QXES_LOAD_PROGRESS (FILE_NAME, FILE_DIGEST, LAST_LINE, FILE_OFFSET, "
            "LOADED, UPDATED_AT) VALUES (")
        .Text(file.name)
        .Sql(", ")
        .Text(file.digest)
        .Sql(", ")
        .Number(mark.lastLine)
        .Sql(", ")
        .Number(mark.offset)
        .Sql(", ")
        .Number(mark.loaded ? 1 : 0, BoundStatement::kInteger)
        .Sql(", ")
        .Stamp(now)
        .Sql(")");
    RunBound(db, statement);
    m_markedFiles.insert(key);
}

void LoadProgress::LoadWaitingUsage(SQLDB* db, UsageTexts& codes, UsageTexts& names) {
    codes.clear();
    names.clear();
    m_storedUsageKeys.clear();
    const std::string statement =
        "SELECT REQUEST_KEY, USAGE_CODES, USAGE_NAMES FROM QXES_USAGE_PENDING";
    SQLDB::WriteToDump(statement);
    const std::string ours = StoredUsageKey("");
    std::vector<std::string> unowned;
    if (db->execute(statement, SQLDB::kQuery) != nullptr) {
        for (const SqlDA* row = db->fetch(); row != nullptr; row = db->fetch()) {
            if (row->row.size() != 3 || !row->row[0]) {
                continue;
            }
            const std::string& stored = *row->row[0];
            std::string key;
            if (stored.compare(0, ours.size(), ours) == 0) {
                key = stored.substr(ours.size());
            } else if (stored.find('\t') == std::string::npos) {
                key = stored;
                unowned.push_back(stored);
            } else {
                continue;  // another directory's
            }
            m_storedUsageKeys.insert(key);
            if (row->row[1]) {
                codes.emplace(key, *row->row[1]);
            }
            if (row->row[2]) {
                names.emplace(key, *row->row[2]);
            }
        }
    }
    db->freeRequest();
    for (const std::string& key : unowned) {
        Statement adopt;
        adopt.Sql("UPDATE QXES_USAGE_PENDING SET REQUEST_KEY = ")
            .Text(StoredUsageKey(key))
            .Sql(" WHERE REQUEST_KEY = ")
            .Text(key);
        RunBound(db, adopt);
    }
}

void LoadProgress::SaveWaitingUsage(SQLDB* db, const UsageTexts& codes, const UsageTexts& names,
                                    std::set<std::string>& changed) {
    for (const std::string& key : changed) {
        const auto codesFound = codes.find(key);
        const auto namesFound = names.find(key);
        const bool waiting = codesFound != codes.end() || namesFound != names.end();
        const bool stored = m_storedUsageKeys.count(key) != 0;
        if (!Storable(key) || (codesFound != codes.end() && !Storable(codesFound->second)) ||
            (namesFound != names.end() && !Storable(namesFound->second))) {
            continue;  // kept in memory only
        }
        const std::string now = TimeStamp(std::time(nullptr));
        Statement statement;
        if (waiting && stored) {
            statement.Sql("UPDATE QXES_USAGE_PENDING SET USAGE_CODES = ")
                .TextOf(codes, key)
                .Sql(", USAGE_NAMES = ")
                .TextOf(names, key)
                .Sql(", SAVED_AT = ")
                .Stamp(now)
                .Sql(" WHERE REQUEST_KEY = ")
                .Text(StoredUsageKey(key));
            RunBound(db, statement);
        } else if (waiting) {
            statement
                .Sql(
                    "INSERT INTO QXES_USAGE_PENDING (REQUEST_KEY, USAGE_CODES, USAGE_NAMES, "
                    "SAVED_AT) VALUES (")
                .Text(StoredUsageKey(key))
                .Sql(", ")
                .TextOf(codes, key)
                .Sql(", ")
                .TextOf(names, key)
                .Sql(", ")
                .Stamp(now)
                .Sql(")");
            RunBound(db, statement);
            m_storedUsageKeys.insert(key);
        } else if (stored) {
            statement.Sql("DELETE FROM QXES_USAGE_PENDING WHERE REQUEST_KEY = ")
                .Text(StoredUsageKey(key));
            RunBound(db, statement);
            m_storedUsageKeys.erase(key);
        }
    }
    changed.clear();
}

void LoadProgress::Run(SQLDB* db, const std::string& statement) {
    SQLDB::WriteToDump(statement);
    db->execute(statement, SQLDB::kUpdate);
    db->freeRequest();
}
