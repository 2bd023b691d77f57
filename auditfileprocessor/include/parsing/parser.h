// The Parser loads the audit files of one directory into the audit database:
// it claims each finished file, checks its header and version line, splits
// every line into fields, hands each record to the handler for its type,
// component and format, and commits every N lines. A file whose loading stops
// keeps in its name the line where its open transaction began, so that the next
// run resumes there.
//   Parser parser(options, &db, programDir);  // describes the eight audit tables
//   parser.ParseDir();                         // loads every eligible file
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "afpOptions.h"
#include "auditDirectoryLock.h"
#include "auditFileClaim.h"
#include "auditLineReader.h"
#include "lineOutcome.h"
#include "loadProgress.h"
#include "rejectFile.h"
#include "runStatistics.h"
#include "serverContext.h"
#include "table.h"
#include "tableCatalogue.h"
#include "tableId.h"
#include "waitingUsage.h"

class SQLDB;

class Parser {
  public:
    Parser(const AFPOptions& runOptions, SQLDB* database, const std::string& programDirectory);
    ~Parser();
    Parser(const Parser&) = delete;
    Parser& operator=(const Parser&) = delete;

    // Directory scan and file load.
    void ParseDir();
    // What the run has done so far, file by file; complete once ParseDir has
    // returned or thrown.
    const RunStatistics& Statistics() const { return m_statistics; }
    bool IsFileAvailableForWriting(const char* path) const;
    void Parse(const std::string& path);

    // What a check of the set-up found ("-check"); nothing was changed.
    struct SetUpCheck {
        bool directoryUsable = true;
        unsigned problems = 0;
        unsigned filesToLoad = 0;
    };
    // Checks the audit directory and the bookkeeping, and says where a run
    // would begin to load each audit file; claims, renames and writes nothing.
    SetUpCheck CheckDir();
    // The names of the audit files in `directory` that a run takes, in the
    // order it takes them (not the live file, nor other kinds of entries).
    static std::vector<std::string> AuditFileNames(const std::string& directory);
    static bool IsAuditFileName(const std::string& name);

    // Dispatch of one split line.
    void ChangeLineState(std::vector<std::string>& fields);
    bool ParseLine(std::vector<std::string>& fields);
    bool ParseVersion(std::vector<std::string>& fields);
    bool ParseGeneral(std::vector<std::string>& fields);
    bool ParseError(std::vector<std::string>& fields);
    bool ParseInfo(std::vector<std::string>& fields);

    // The audit time stamp as the database reads it, as the line check reads it.
    void FixupDateTime(std::string& stamp) const;
    // Splits on tabs, dropping empty pieces and trailing newlines; false when
    // the line has more than the fixed fields (a message over several pieces).
    bool TokenizeLine(std::vector<std::string>& fields, const std::string& line) const;
    void AddLineToAuditFilename(const std::string& path, unsigned long line) const;
    // The name AddLineToAuditFilename gives the file: path with ".line" before its extension.
    static std::string ResumeNameOf(const std::string& path, unsigned long line);

    // The resume number in an audit file's own name: the decimal digits between
    // the last two dots of the name ("qxes_audit_x.120.log" gives 120); 0 when
    // that text is missing, not all digits, or too large for 32 bits.
    static uint32_t ResumeNumberOf(const std::string& path);
    // Position in path of the last "." of the file's own name, or npos.
    static std::string::size_type ExtensionDotOf(const std::string& path);
    // A line as an administrator reads it in a message: a long line is cut.
    static std::string LineForMessage(const std::string& raw);

    static const char kAuditFilePrefix[];  // "qxes_audit"
    static const char kAuditFileExt[];     // ".log"
    static const char kLiveAuditFile[];    // "qxes_audit.log", never touched
    static const char kDoneExt[];          // ".___"

    // Handlers, one per kind of audited event: true when the line was taken.
    bool ParseStartupInfo(const std::vector<std::string>& line);
    bool ParseRequestInfo(const std::vector<std::string>& line);
    bool ParseRemoteRequestInfo(const std::vector<std::string>& line);
    bool ParseRequestError(const std::vector<std::string>& line);
    bool ParseUsage(const std::vector<std::string>& line);
    bool ParseAdminInfo(const std::vector<std::string>& line);
    bool ParseTarvelInfo(const std::vector<std::string>& line);
    bool ParseTarvelError(const std::vector<std::string>& line);
    bool ParseUserInfo(const std::vector<std::string>& line);

    // Texts written into the request table.
    static const std::string kStatusSuccess;  // "1"
    static const std::string kStatusFail;     // "0"
    static const std::string kTypeWeb;        // "0"
    static const std::string kTypeRemote;     // "1"
    static const std::string kTypeAdmin;      // "2"
    static const std::string kActionAdmin;    // "Admin"
    static const std::string kActionTarvel;   // "Publish"

    // Kind of the line in hand.
    enum LineState {
        kLineNone = 0,
        kLineUsage = 1,
        kLineVersion = 2,
        kLineError = 3,
        kLineGeneral = 4,
        kLineInfo = 5,
    };

  protected:
    friend class AuditFileLoad;

    // The table of that id; an absent entry is made with no table behind it.
    Table* TableFor(TableId id);

    // The scan's part: one loader per directory, the files in order, claim,
    // load, set aside.
    // Waits up to -lockwait seconds for another loader of the directory; throws
    // when it does not finish, or when the lock cannot be used. A stop
    // requested meanwhile marks the run interrupted and returns the lock unheld.
    AuditDirectoryLock LockDirectory(const std::string& directory);
    // The names of the audit files to take, in order; entries that are not
    // regular files are reported and counted as skipped.
    std::vector<std::string> ListAuditFiles(const std::string& directory);
    // Claims and loads one file: false when loading of the directory stops at
    // it (it could not be claimed or read).
    bool TakeFile(const std::string& path);
    // Counts names[first..] as waiting behind stopPath, and says so.
    void LeaveWaiting(const std::string& stopPath, const std::vector<std::string>& names,
                      size_t first);
    AuditFileClaim::Outcome ClaimFile(const std::string& path, std::string& reason) const;
    void LoadClaimedFile(const std::string& path);
    void SetAside(const std::string& path);

    // One line from the resume point on: its rows are kept or undone as a
    // whole, and the outcome says which, with the cause of a refusal or of
    // a failure that stops the file. Nothing of the line is left behind in
    // the parser or the session for the next one.
    LineOutcome HandleLine(std::vector<std::string>& fields, AuditLineReader::Status status);
    // One line before the resume point, committed by an earlier run: read
    // with writing off, only for what it leaves in memory.
    void ReplayLine(std::vector<std::string>& fields, AuditLineReader::Status status);
    // Reports refused line `line` (the version line is line 1), which begins
    // at `offset` in the file, and appends it to the reject file.
    void RefuseLine(const std::string& raw, uint32_t line, uint64_t offset,
                    const std::string& cause);
    // For the dispatch and the handlers: refuses the line in hand with its
    // cause; the handler returns what this returns (false).
    bool Refuse(std::string cause);
    // Says in plain words what is wrong with the line in hand, before an
    // assertion refuses it; the assertion's own text follows in brackets.
    void Explain(std::string cause);
    // "unknown format "X" in field 8 of a request record"
    static std::string UnknownFormat(const std::string& format, const char* record);
    FileStatistics& CurrentFileStatistics();

    // The server that wrote the lines, from the version, general and start-up lines.
    ServerContext m_server;

    // Loading state of the file in hand, as the dispatch and the handlers read it.
    SQLDB* db;
    LineState lineState = kLineNone;
    bool fileDisposable = false;
    uint32_t lineNumber = 0;
    bool resumeReached = false;
    std::string currentFile;
    std::string processingLocale;

    AFPOptions options;
    std::string programDir;
    TableCatalogue m_catalogue;

    // The claim that IsFileAvailableForWriting took on the file in hand; the scan
    // takes it over and keeps it until the file's final rename.
    mutable AuditFileClaim m_claim;

    // Usage codes and names waiting for their counts line; kept across files.
    WaitingUsage m_waitingUsage;

    RunStatistics m_statistics;
    LoadProgress m_progress;
    RejectFile m_rejects;
    bool m_rejectFileFailed = false;
    // Index in m_statistics.files of the file in hand.
    size_t m_fileIndex = 0;
    // Whether the scan sets the file in hand aside once Parse returns.
    bool m_setAsideAfterLoad = true;

  private:
    // Why the dispatch or a handler refused the line in hand; taken by
    // HandleLine when the line ends, so that it never reaches the next line.
    std::string m_lineRefusal;
};
