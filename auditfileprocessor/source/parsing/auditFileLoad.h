// The load of one claimed audit file: its header and version line, where to
// resume, the lines that an earlier run committed (read again with writing
// off), then the rest in batches of one transaction each, every commit
// carrying the file's progress. It ends by telling the scan whether the file
// is set aside or stays for a later run.
//   AuditFileLoad load(parser, path);
//   if (load.Run() == AuditFileLoad::End::kSetAside) { /* rename it to .___ */ }
#pragma once

#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <vector>

#include "auditLineReader.h"
#include "lineOutcome.h"
#include "loadProgress.h"
#include "waitingUsage.h"

class Parser;
class SQLDB;
struct FileStatistics;

class AuditFileLoad {
  public:
    enum class End {
        kSetAside,  // done with (loaded, or not loadable): renamed to ".___" or deleted
        kPutBack,   // to be continued by a later run: left under its own name
    };

    AuditFileLoad(Parser& parser, std::string path);
    // Loads the file, once more from its progress after a lost connection or
    // a batch that the database gave up. When an error stops the file, puts
    // its resume point in its name and raises CPPWebException (error code 2).
    End Run();
    // For a check: where a run would begin to load the file, in words,
    // writing nothing. False when the file cannot be read; true with an
    // empty `start` when a run would set it aside unread (its message says why).
    bool PlannedStart(std::string& start);

  private:
    // How one pass over the file ended.
    enum class Pass { kSetAside, kPutBack, kAgain };

    Pass LoadOnce();
    // Opens the file and reads its header and version line; false when the
    // pass ends there, as `pass` says.
    bool ReadHead(Pass& pass);
    // Where loading resumes: after the file's recorded progress, else at the
    // number in its name. False when the progress says it was loaded already.
    bool FindResumePoint();
    // Handles the lines up to the end of the file, a read error or a stop
    // request; returns the outcome of a line that stops the file, if one does.
    LineOutcome LoadLines();
    // From here on lines are written; the committed waiting usage is back.
    void ReachResumePoint();
    LineOutcome LoadLineInHand();
    // Reads the line after the one in hand; false at a read error.
    bool ReadNextLine();
    bool AtBatchEnd() const;
    // What happens once the lines are done: a stop request puts the file
    // back, a file still written to is put back, any other is marked loaded.
    Pass FinishLines();
    // Rolls the batch back; tries the file again or stops it (and the run).
    Pass StopFile(const LineOutcome& stop);

    // Whether the batch that begins now holds its statements and sends them
    // together: not on a database that runs one at a time, not without the
    // progress that a replay resumes from, and not right after a replay.
    bool HoldsNextBatch() const;
    // Reads the open held batch's lines ahead and asks in one query for the
    // stored rows of their sessions that the run does not know yet.
    void AskForBatchKeys();
    // Commits the open batch with the file's progress and the waiting usage.
    void CommitBatch();
    // Reports what the held batch's lines came to, once it is committed.
    void ReleaseHeldOutcomes();
    // Records durably that the file was read to its end.
    void MarkFileLoaded();
    bool RetryBatch();
    // Renames the file to carry its resume line, as runs without progress
    // find it, and records its new name.
    void PutResumeLineInName(uint32_t line);
    bool ReconnectAfterLoss(const std::string& reason);
    LineOutcome StopsFileFor(const std::exception& error) const;
    FileStatistics& Statistics();

    Parser& m_parser;
    SQLDB* const m_db;
    const std::string m_path;

    // The pass in hand: the reader, the line in hand and its fields.
    AuditLineReader m_reader;
    std::string m_raw;
    // Where the line in hand begins in the file.
    uint64_t m_lineStart = 0;
    std::vector<std::string> m_fields;
    AuditLineReader::Status m_status = AuditLineReader::Status::kEnd;
    LoadProgress::FileIdentity m_identity;
    // The first line that is not committed yet (0: the whole file).
    uint32_t m_resume = 0;
    // The waiting usage committed with the file's progress, while the lines
    // before the resume point are replayed.
    std::optional<WaitingUsage> m_committedUsage;
    // Where the open transaction began: the resume number if it is rolled back.
    uint32_t m_txStartLine = 0;
    // The last line handled, and where the line after it begins.
    uint32_t m_lastHandled = 0;
    uint64_t m_nextLineOffset = 0;
    bool m_atEnd = false;
    bool m_readFailed = false;
    // Rows written by the lines of the open batch.
    uint64_t m_batchRows = 0;
    // A held batch reports its lines only once it is committed: a replay
    // reports them again.
    struct HeldRefusal {
        std::string raw;
        std::string cause;
        uint32_t line;
        uint64_t offset;
    };
    std::vector<HeldRefusal> m_heldRefusals;
    uint64_t m_heldLinesRead = 0;
    // The batch that begins at this line runs statement by statement, after
    // its held run went otherwise than predicted (0: none).
    uint32_t m_replayAt = 0;

    // The reader of the lines ahead of the line in hand, for AskForBatchKeys.
    AuditLineReader m_peek;
    bool m_peekOpen = false;

    // Connection losses survived in a row, for the wait before the next try,
    // and batches given up by the database, over all passes of the file.
    int m_reconnectAttempts = 0;
    int m_batchRetries = 0;
};
