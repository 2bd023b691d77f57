// The loader's own bookkeeping in the audit database: how far each audit
// file is loaded, and the usage codes and names of requests still waiting for
// their counts line. Both are written in the same transaction as the rows of
// each batch, so that progress and data are lost or kept together, and a run
// that died anywhere resumes after its last commit, with its usage context.
//   LoadProgress progress;
//   progress.Prepare(db);                     // creates the tables when missing
//   LoadProgress::Mark mark;
//   if (progress.Find(db, identity, mark)) { resumeAfter(mark.lastLine); }
//   progress.Record(db, identity, {lastLine, offset, false});  // then commit
// Every statement goes through the session and into the SQL dump.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>

class SQLDB;

class LoadProgress {
  public:
    // An audit file as the bookkeeping knows it: its server name (without a
    // resume number or claim suffix) and a digest of its first two lines,
    // which tells a new file under an old name apart from the old one.
    struct FileIdentity {
        std::string name;
        std::string digest;
    };

    // The last committed state of a file.
    struct Mark {
        uint32_t lastLine = 0;  // the last line committed (the version line is line 1)
        uint64_t offset = 0;    // where the line after it begins; once loaded, the file's size
        bool loaded = false;    // read to its end and set aside
    };

    // The usage texts waiting for their counts line, by request key.
    using UsageTexts = std::map<std::string, std::string>;

    // Checks that the bookkeeping tables can be used, creating them when they
    // are missing. When that fails, shows AFP-0048 once and stays unavailable:
    // the run then goes on as without bookkeeping.
    void Prepare(SQLDB* db);
    bool IsAvailable() const { return m_available; }

    static FileIdentity IdentityOf(const std::string& path, const std::string& firstTwoLines);

    // Inside an open transaction. Find is true when the file has a mark.
    bool Find(SQLDB* db, const FileIdentity& file, Mark& mark);
    // Records the mark; raises the session's exception when it cannot.
    void Record(SQLDB* db, const FileIdentity& file, const Mark& mark);

    // Replaces `codes` and `names` with what waits in the database.
    void LoadWaitingUsage(SQLDB* db, UsageTexts& codes, UsageTexts& names);
    // Writes what changed for the keys in `changed` since the last save, and
    // empties `changed`.
    void SaveWaitingUsage(SQLDB* db, const UsageTexts& codes, const UsageTexts& names,
                          std::set<std::string>& changed);

  private:
    // Runs one statement of the bookkeeping, copied to the dump first.
    void Run(SQLDB* db, const std::string& statement);
    bool TablesUsable(SQLDB* db, std::string& reason);

    bool m_prepared = false;
    bool m_available = false;
    // The files whose mark exists in the database, as found or written by this run.
    std::set<std::string> m_markedFiles;
    // The request keys that have a row of waiting usage in the database.
    std::set<std::string> m_storedUsageKeys;
};
