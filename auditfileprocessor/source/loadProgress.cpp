#include "loadProgress.h"

#include <cinttypes>
#include <cstdio>
#include <ctime>
#include <exception>
#include <vector>

#include "messenger.h"
#include "sqldbapi.h"

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
    std::string literal = "'";
    for (char c : text) {
        literal += c;
        if (c == '\'') {
            literal += '\'';
        }
    }
    return literal + "'";
}

std::string NullableLiteral(const LoadProgress::UsageTexts& texts, const std::string& key) {
    const auto found = texts.find(key);
    return found == texts.end() ? "NULL" : Literal(found->second);
}

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

std::string Where(const LoadProgress::FileIdentity& file) {
    return " WHERE FILE_NAME = " + Literal(file.name) +
           " AND FILE_DIGEST = " + Literal(file.digest);
}

}  // namespace

LoadProgress::FileIdentity LoadProgress::IdentityOf(const std::string& path,
                                                    const std::string& firstTwoLines) {
    return FileIdentity{ServerFileName(path), Digest(firstTwoLines)};
}

void LoadProgress::Prepare(SQLDB* db) {
    if (m_prepared) {
        return;
    }
    m_prepared = true;
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

bool LoadProgress::Find(SQLDB* db, const FileIdentity& file, Mark& mark) {
    const std::string statement =
        "SELECT LAST_LINE, FILE_OFFSET, LOADED FROM QXES_LOAD_PROGRESS" + Where(file);
    SQLDB::WriteToDump(statement);
    const SqlDA* found = db->execute(statement, SQLDB::kQuery);
    const SqlDA* row = found != nullptr ? db->fetch() : nullptr;
    const std::string key = file.name + '\t' + file.digest;
    m_markedFiles.erase(key);
    if (row != nullptr && row->row.size() == 3 && row->row[0] && row->row[1] && row->row[2]) {
        mark.lastLine = static_cast<uint32_t>(std::stoul(*row->row[0]));
        mark.offset = std::stoull(*row->row[1]);
        mark.loaded = *row->row[2] != "0";
        m_markedFiles.insert(key);
    }
    db->freeRequest();
    return m_markedFiles.count(key) != 0;
}

void LoadProgress::Record(SQLDB* db, const FileIdentity& file, const Mark& mark) {
    const std::string key = file.name + '\t' + file.digest;
    const std::string lastLine = std::to_string(mark.lastLine);
    const std::string offset = std::to_string(mark.offset);
    const std::string loaded = mark.loaded ? "1" : "0";
    const std::string now = Literal(TimeStamp(std::time(nullptr)));
    if (m_markedFiles.count(key) != 0) {
        Run(db, "UPDATE QXES_LOAD_PROGRESS SET LAST_LINE = " + lastLine + ", FILE_OFFSET = " +
                    offset + ", LOADED = " + loaded + ", UPDATED_AT = " + now + Where(file));
        return;
    }
    Run(db,
        "INSERT INTO QXES_LOAD_PROGRESS (FILE_NAME, FILE_DIGEST, LAST_LINE, FILE_OFFSET, LOADED, "
        "UPDATED_AT) VALUES (" +
            Literal(file.name) + ", " + Literal(file.digest) + ", " + lastLine + ", " + offset +
            ", " + loaded + ", " + now + ")");
    m_markedFiles.insert(key);
}

void LoadProgress::LoadWaitingUsage(SQLDB* db, UsageTexts& codes, UsageTexts& names) {
    codes.clear();
    names.clear();
    m_storedUsageKeys.clear();
    const std::string statement =
        "SELECT REQUEST_KEY, USAGE_CODES, USAGE_NAMES FROM QXES_USAGE_PENDING";
    SQLDB::WriteToDump(statement);
    if (db->execute(statement, SQLDB::kQuery) != nullptr) {
        for (const SqlDA* row = db->fetch(); row != nullptr; row = db->fetch()) {
            if (row->row.size() != 3 || !row->row[0]) {
                continue;
            }
            const std::string& key = *row->row[0];
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
}

void LoadProgress::SaveWaitingUsage(SQLDB* db, const UsageTexts& codes, const UsageTexts& names,
                                    std::set<std::string>& changed) {
    for (const std::string& key : changed) {
        const bool waiting = codes.count(key) != 0 || names.count(key) != 0;
        const bool stored = m_storedUsageKeys.count(key) != 0;
        const std::string keyLiteral = Literal(key);
        const std::string codesLiteral = NullableLiteral(codes, key);
        const std::string namesLiteral = NullableLiteral(names, key);
        if (!Storable(keyLiteral) || !Storable(codesLiteral) || !Storable(namesLiteral)) {
            continue;  // kept in memory only
        }
        const std::string now = Literal(TimeStamp(std::time(nullptr)));
        if (waiting && stored) {
            Run(db, "UPDATE QXES_USAGE_PENDING SET USAGE_CODES = " + codesLiteral +
                        ", USAGE_NAMES = " + namesLiteral + ", SAVED_AT = " + now +
                        " WHERE REQUEST_KEY = " + keyLiteral);
        } else if (waiting) {
            Run(db,
                "INSERT INTO QXES_USAGE_PENDING (REQUEST_KEY, USAGE_CODES, USAGE_NAMES, SAVED_AT) "
                "VALUES (" +
                    keyLiteral + ", " + codesLiteral + ", " + namesLiteral + ", " + now + ")");
            m_storedUsageKeys.insert(key);
        } else if (stored) {
            Run(db, "DELETE FROM QXES_USAGE_PENDING WHERE REQUEST_KEY = " + keyLiteral);
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
