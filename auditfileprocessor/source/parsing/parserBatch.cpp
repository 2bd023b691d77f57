// The ends of a batch and of a file: each commit carries the file's progress
// and the usage still waiting; the last one of a file is made durable, as is
// the rename that sets the file aside. A lost connection is tried again.
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <exception>
#include <string>
#include <thread>

#include "messenger.h"
#include "parser.h"
#include "sqldbapi.h"
#include "stopRequest.h"

FileStatistics& Parser::CurrentFileStatistics() {
    return m_statistics.files.at(m_fileIndex);
}

void Parser::CommitBatch(uint32_t lastLine, uint64_t offset) {
    if (m_progress.IsAvailable()) {
        m_progress.Record(db, m_fileIdentity, {lastLine, offset, false});
        m_progress.SaveWaitingUsage(db, usageCodesByRequest, usageNamesByRequest,
                                    m_changedUsageKeys);
    }
    db->commit(1);
    CurrentFileStatistics().rowsWritten += m_batchRows;
    m_batchRows = 0;
}

void Parser::MarkFileLoaded(uint32_t lastLine, uint64_t offset) {
    if (!m_progress.IsAvailable()) {
        return;
    }
    // The batches before went without waiting for the disk; this commit waits,
    // and with it every one before it is on the disk too.
    db->setDurableCommits(true);
    db->startTransaction();
    m_progress.Record(db, m_fileIdentity, {lastLine, offset, true});
    m_progress.SaveWaitingUsage(db, usageCodesByRequest, usageNamesByRequest, m_changedUsageKeys);
    db->commit(1);
    db->setDurableCommits(false);
}

bool Parser::RetryBatch() {
    // Without progress the file could only start over from its name's
    // number, and lines committed since would come again as duplicates.
    constexpr int kBatchRetries = 5;
    if (!m_progress.IsAvailable() || m_batchRetries >= kBatchRetries) {
        return false;
    }
    ++m_batchRetries;
    // Two loaders that deadlocked would meet again at once: one waits longer.
    std::this_thread::sleep_for(std::chrono::milliseconds(20 * m_batchRetries + std::rand() % 50));
    return true;
}

bool Parser::ReconnectAfterLoss(const std::string& reason) {
    // Only a server can come back; an embedded database that fails has a
    // disk or file problem that waiting does not mend.
    if (options.dbType != "PG") {
        return false;
    }
    std::string cause = reason;
    while (m_reconnectAttempts < options.connectRetries && !StopRequest::Requested()) {
        const int seconds = std::min(30, 1 << std::min(m_reconnectAttempts, 5));
        ++m_reconnectAttempts;
        Messenger::Get().DisplayMessage(57, cause, std::to_string(seconds));
        const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
        while (std::chrono::steady_clock::now() < until && !StopRequest::Requested()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        try {
            db->reconnect();
            if (m_progress.IsAvailable()) {
                db->setDurableCommits(false);
            }
            return true;
        } catch (const std::exception& error) {
            cause = error.what();
        }
    }
    return false;
}
