// The directory scan: which files of the audit directory are loaded, in which
// order, how each is claimed, and what becomes of it afterwards.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "auditDirectoryLock.h"
#include "cppWebException.h"
#include "directoryLister.h"
#include "fileTools.h"
#include "krlAssertError.h"
#include "messenger.h"
#include "parser.h"
#include "programGlobals.h"
#include "sqldbapi.h"
#include "stopRequest.h"

const char Parser::kAuditFilePrefix[] = "qxes_audit";
const char Parser::kAuditFileExt[] = ".log";
const char Parser::kLiveAuditFile[] = "qxes_audit.log";
const char Parser::kDoneExt[] = ".___";

namespace {

// Refused lines go where the administrator named, or beside the error log.
std::string RejectFilePath(const AFPOptions& options) {
    if (!options.rejectFile.empty()) {
        return options.rejectFile;
    }
    return options.errorLogFile.empty() ? std::string() : options.errorLogFile + ".rejected";
}

}  // namespace

void Parser::ParseDir() {
    const std::string& directory = options.auditLocation;
    if (!DirectoryLister::DirectoryExists(directory)) {
        std::string text;
        GetMessage(22, text);
        throw CPPWebException(text + directory, 1,
                              {"parser", 103, "Parser::ParseDir", "KRL_THROW"});
    }
    // Before anything of the directory or the database is touched.
    const AuditDirectoryLock lock = LockDirectory(directory);
    if (m_statistics.interrupted) {
        return;
    }
    m_progress.Prepare(db, directory);
    if (m_progress.IsAvailable()) {
        // Progress and rows now vanish together: only a file's last commit
        // needs to wait for the disk.
        db->setDurableCommits(false);
    }
    m_rejects = RejectFile(RejectFilePath(options));
    AuditFileClaim::RestoreInterruptedClaims(directory);

    const std::vector<std::string> names = ListAuditFiles(directory);
    for (size_t next = 0; next < names.size(); ++next) {
        if (StopRequest::Requested()) {
            m_statistics.interrupted = true;
            break;
        }
        const std::string path =
            FileTools::AddTermToPath(directory, names[next], FileTools::kPathDelim);
        g_CurrentAuditFile = path;
        const bool goOn = TakeFile(path);
        if (m_statistics.interrupted) {
            break;
        }
        if (!goOn) {
            LeaveWaiting(path, names, next + 1);
            break;
        }
    }
}

AuditDirectoryLock Parser::LockDirectory(const std::string& directory) {
    const ExceptionLocation where{"parser", 150, "Parser::LockDirectory", "KRL_THROW"};
    const std::string seconds = std::to_string(options.lockWaitSeconds);
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::seconds(options.lockWaitSeconds);
    AuditDirectoryLock lock;
    std::string reason;
    for (bool waiting = false;; waiting = true) {
        switch (lock.TryTake(directory, reason)) {
            case AuditDirectoryLock::Outcome::kHeld:
            case AuditDirectoryLock::Outcome::kReadOnly:  // nothing can be claimed there anyway
                return lock;
            case AuditDirectoryLock::Outcome::kUnusable:
                throw CPPWebException(
                    Messenger::Compose(74, {AuditDirectoryLock::PathIn(directory), reason}), 1,
                    where);
            case AuditDirectoryLock::Outcome::kBusy:
                break;
        }
        if (StopRequest::Requested()) {
            m_statistics.interrupted = true;
            return lock;
        }
        if (std::chrono::steady_clock::now() >= deadline) {
            throw CPPWebException(Messenger::Compose(73, {directory, seconds}), 1, where);
        }
        if (!waiting) {
            Messenger::Get().DisplayMessage(72, directory, seconds);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
}

std::vector<std::string> Parser::ListAuditFiles(const std::string& directory) {
    std::vector<std::string> names;
    DirectoryLister lister(directory, kAuditFileExt, true);
    DirectoryLister::Entry entry;
    while (lister.Next(entry)) {
        // The live file is still being written by the server.
        if (entry.isDirectory || entry.name.find(kAuditFilePrefix) == std::string::npos ||
            entry.name.find(kLiveAuditFile) != std::string::npos) {
            continue;
        }
        if (!entry.otherKind.empty()) {
            const std::string path =
                FileTools::AddTermToPath(directory, entry.name, FileTools::kPathDelim);
            Messenger::Get().DisplayMessage(53, path, entry.otherKind);
            m_statistics.files.push_back(FileStatistics{path, FileOutcome::kSkipped});
            continue;
        }
        names.push_back(entry.name);
    }
    lister.Close();
    // In byte order: the server's time-stamped names come oldest first, so a
    // request whose lines run on into the next file is read in order.
    std::sort(names.begin(), names.end());
    return names;
}

bool Parser::TakeFile(const std::string& path) {
    Messenger& messenger = Messenger::Get();
    // A claim refused is said under the file's own banner.
    Messenger::m_sAuditLogFileName = path;
    Messenger::m_isParsingNewLog = true;
    std::string reason;
    switch (ClaimFile(path, reason)) {
        case AuditFileClaim::Outcome::kTaken: {
            LoadClaimedFile(path);
            FileStatistics& file = m_statistics.files.back();
            // Nothing of it could be read (AFP-0023): as if it could not be claimed.
            if (file.outcome == FileOutcome::kSkipped) {
                file.outcome = FileOutcome::kStopped;
            }
            // A file put back while still written goes on to the next: its
            // writer appends to it after the lines of the files after it.
            return file.outcome != FileOutcome::kStopped;
        }
        case AuditFileClaim::Outcome::kTakenElsewhere:
            return true;  // gone since it was listed, or held by another program
        case AuditFileClaim::Outcome::kNotRegular:
            messenger.DisplayMessage(53, path, reason);
            m_statistics.files.push_back(FileStatistics{path, FileOutcome::kSkipped});
            return true;
        case AuditFileClaim::Outcome::kNameTaken:
            messenger.DisplayMessage(75, path, reason);
            break;
        case AuditFileClaim::Outcome::kFailed:
            messenger.DisplayMessage(52, path, reason);
            break;
    }
    m_statistics.files.push_back(FileStatistics{path, FileOutcome::kStopped});
    return false;
}

void Parser::LeaveWaiting(const std::string& stopPath, const std::vector<std::string>& names,
                          size_t first) {
    if (first >= names.size()) {
        return;
    }
    for (size_t next = first; next < names.size(); ++next) {
        const std::string path =
            FileTools::AddTermToPath(options.auditLocation, names[next], FileTools::kPathDelim);
        m_statistics.files.push_back(FileStatistics{path, FileOutcome::kWaiting});
    }
    Messenger::Get().DisplayMessageWithInserts(
        71, {options.auditLocation, stopPath, std::to_string(names.size() - first)});
}

void Parser::LoadClaimedFile(const std::string& path) {
    // Held until the file has its final name, also when Parse throws.
    const AuditFileClaim claim = std::move(m_claim);
    Messenger::m_sAuditLogFileName = path;
    Messenger::m_isParsingNewLog = true;
    fileDisposable = true;
    Parse(path);
    if (m_setAsideAfterLoad) {
        SetAside(path);
    }
}

void Parser::SetAside(const std::string& path) {
    if (!options.deleteAuditFiles) {
        // Set aside whatever the outcome: an unreadable or foreign file is
        // not retried either.
        constexpr auto string_npos = std::string::npos;
        const std::string::size_type pos = path.rfind('.');
        KRL_ASSERT(string_npos != pos, "auditfileprocessor/source/parser", 135);
        const std::string doneName = path.substr(0, pos) + kDoneExt;
        if (std::rename(path.c_str(), doneName.c_str()) != 0) {
            Messenger::Get().DisplayMessage(21, path);
            return;
        }
        CurrentFileStatistics().renamedTo = doneName;
        // The new name survives a power loss like the rows it stands for.
        FileTools::SyncDirectory(options.auditLocation);
    } else if (fileDisposable) {
        if (std::remove(path.c_str()) != 0) {
            Messenger::Get().DisplayMessage(20, path);
        }
    }
}

AuditFileClaim::Outcome Parser::ClaimFile(const std::string& path, std::string& reason) const {
    AuditFileClaim claim;
    const AuditFileClaim::Outcome outcome = claim.Take(path, reason);
    if (outcome == AuditFileClaim::Outcome::kTaken) {
        m_claim = std::move(claim);
    }
    return outcome;
}

bool Parser::IsFileAvailableForWriting(const char* path) const {
    std::string reason;
    return path != nullptr && ClaimFile(path, reason) == AuditFileClaim::Outcome::kTaken;
}
