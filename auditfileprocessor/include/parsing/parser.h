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
#include <map>
#include <set>
#include <string>
#include <vector>

#include "afpOptions.h"
#include "auditFileClaim.h"
#include "auditLineReader.h"
#include "loadProgress.h"
#include "rejectFile.h"
#include "runStatistics.h"
#include "table.h"
#include "tableCatalogue.h"
#include "tableId.h"

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
    // The table of that id; an absent entry is made with no table behind it.
    Table* TableFor(TableId id);

    // How the load of the file in hand ended, for what the scan does with it.
    enum class FileEnd {
        kSetAside,  // done with (loaded, or not loadable): renamed to ".___" or deleted
        kPutBack,   // to be continued by a later run: left under its own name
        kRetry,     // the database connection was lost: load it again once reconnected
    };

    // The scan's part: claim, load (again after a lost connection), set aside.
    AuditFileClaim::Outcome ClaimFile(const std::string& path, std::string& reason) const;
    void LoadClaimedFile(const std::string& path);
    bool ReconnectAfterLoss(const std::string& reason);
    bool RetryBatch();
    void SetAside(const std::string& path);

    // One line in hand: handled with writing on (its rows kept or undone as
    // a whole, a refusal reported) or, before the resume point, with writing
    // off, only to rebuild what the lines leave in memory.
    void HandleLine(const std::string& raw, std::vector<std::string>& fields,
                    AuditLineReader::Status status);
    void RefuseLine(const std::string& raw, const std::string& cause);
    // Commits the open batch with the file's progress.
    void CommitBatch(uint32_t lastLine, uint64_t offset);
    // Records durably that the file was read to its end.
    void MarkFileLoaded(uint32_t lastLine, uint64_t offset);
    FileStatistics& CurrentFileStatistics();

    // Why ParseLine refused the line in hand, when it says so itself.
    std::string m_refusalCause;

    // Server context, from the version, general and start-up lines.
    int32_t versionNumber = 0;
    std::string versionTimeStamp;
    std::string versionTimeZone;
    std::string versionMessage;
    std::string generalMessage;
    std::string machineName;
    // The SQL null until a start-up line names the port: requests read
    // before one are loaded without it rather than refused.
    std::string machinePort = "NULL";

    // Loading state of the file in hand.
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

    // Usage codes and names waiting for their data line, by session and
    // request identifier joined without a separator; kept across files.
    std::map<std::string, std::string> usageCodesByRequest;
    std::map<std::string, std::string> usageNamesByRequest;

    RunStatistics m_statistics;
    LoadProgress m_progress;
    LoadProgress::FileIdentity m_fileIdentity;
    // Request keys whose waiting usage changed since the last commit.
    std::set<std::string> m_changedUsageKeys;
    RejectFile m_rejects;
    bool m_rejectFileFailed = false;
    FileEnd m_fileEnd = FileEnd::kSetAside;
    // Index in m_statistics.files of the file in hand.
    size_t m_fileIndex = 0;
    // Rows written by the lines of the open batch.
    uint64_t m_batchRows = 0;
    // Connection losses survived in a row, for the wait before the next try,
    // and batches given up by the database, for the file in hand.
    int m_reconnectAttempts = 0;
    int m_batchRetries = 0;
};
