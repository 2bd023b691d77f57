// The loader's own bookkeeping in the audit database: how far each audit
// file is loaded, and the usage codes and names of requests still waiting for
// their counts line. Both are written in the same transaction as the rows of
// each batch, so that progress and data are lost or kept together, and a run
// that died anywhere resumes after its last commit, with its usage context.
// Both are kept per audit directory (its path as given, without trailing
// slashes): two servers whose files have the same names never meet.
//   LoadProgress progress;
//   progress.Prepare(db, "/var/audit/server1");  // creates the tables when missing
//   LoadProgress::FileIdentity identity = progress.IdentityOf(path, head, firstTwoLines);
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
    // An audit file as the bookkeeping knows it: its audit directory and
    // server name (without a resume number or claim suffix), and a digest of
    // its first bytes, which tells a new file under an old name apart from
    // the old one. The digest covers up to kDigestBytes, as many as the file
    // had when it was first recorded, and says how many ("<hex>:<bytes>").
    struct FileIdentity {
        std::string name;
        std::string digest;
        // What Find compares: the file's first bytes, and, for progress that
        // older versions recorded (server name alone, digest of the header
        // and version line), those two lines.
        std::string head;
        std::string legacyName;
        std::string firstTwoLines;
    };
    static constexpr size_t kDigestBytes = size_t{64} * 1024;

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
    void Prepare(SQLDB* db, const std::string& auditDirectory);
    bool IsAvailable() const { return m_available; }

    // `head`: the file's first kDigestBytes bytes, or all of it when shorter.
    FileIdentity IdentityOf(const std::string& path, const std::string& head,
                            const std::string& firstTwoLines) const;

    // Inside an open transaction. Find is true when the file has a mark; it
    // then names the file as its mark does, so that Record updates that mark.
    bool Find(SQLDB* db, FileIdentity& file, Mark& mark);
    // Records the mark; raises the session's exception when it cannot.
    void Record(SQLDB* db, const FileIdentity& file, const Mark& mark);

    // Replaces `codes` and `names` with what waits in the database for this
    // directory; waiting usage that older versions kept without a directory
    // is taken over by the first directory that loads it.
    void LoadWaitingUsage(SQLDB* db, UsageTexts& codes, UsageTexts& names);
    // Writes what changed for the keys in `changed` since the last save, and
    // empties `changed`.
    void SaveWaitingUsage(SQLDB* db, const UsageTexts& codes, const UsageTexts& names,
                          std::set<std::string>& changed);

  private:
    // Runs one statement of the bookkeeping, copied to the dump first.
    void Run(SQLDB* db, const std::string& statement);
    bool TablesUsable(SQLDB* db, std::string& reason);

    // The key under which the waiting usage of a request of this directory is kept.
    std::string StoredUsageKey(const std::string& requestKey) const;

    std::string m_directory;
    bool m_prepared = false;
    bool m_available = false;
    // The files whose mark exists in the database, as found or written by this run.
    std::set<std::string> m_markedFiles;
    // The request keys of this directory that have a row of waiting usage
    // in the database.
    std::set<std::string> m_storedUsageKeys;
};
