// How one audit line ended, made where its fate is decided and carried back
// as one value: taken (its rows kept), refused with its cause (its rows
// undone, the file goes on), or stopping the file with its cause (the batch
// is rolled back and the file keeps its resume point).
//   LineOutcome outcome = LineOutcome::Refused("the line type X is none of V, G, I, E and U");
//   if (outcome.kind() == LineOutcome::Kind::kStopsFile) { /* roll back, resume later */ }
#pragma once

#include <string>
#include <utility>

class LineOutcome {
  public:
    enum class Kind { kTaken, kRefused, kStopsFile };

    static LineOutcome Taken(unsigned rowsWritten) {
        return LineOutcome(Kind::kTaken, std::string(), 0, rowsWritten);
    }
    static LineOutcome Refused(std::string cause) {
        return LineOutcome(Kind::kRefused, std::move(cause), 0, 0);
    }
    // `databaseStatus` tells what to do next: a lost connection (-3) waits
    // for the server, a transaction the database gave up (-2) is tried again.
    static LineOutcome StopsFile(std::string cause, int databaseStatus) {
        return LineOutcome(Kind::kStopsFile, std::move(cause), databaseStatus, 0);
    }

    Kind kind() const { return m_kind; }
    const std::string& cause() const { return m_cause; }
    int databaseStatus() const { return m_databaseStatus; }
    unsigned rowsWritten() const { return m_rowsWritten; }

  private:
    LineOutcome(Kind kind, std::string cause, int databaseStatus, unsigned rowsWritten)
        : m_kind(kind),
          m_cause(std::move(cause)),
          m_databaseStatus(databaseStatus),
          m_rowsWritten(rowsWritten) {}

    Kind m_kind;
    std::string m_cause;
    int m_databaseStatus;
    unsigned m_rowsWritten;
};
