// The directory scan: which files of the audit directory are loaded, in which
// order, how each is claimed, and what becomes of it afterwards.
#include <algorithm>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

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
    m_progress.Prepare(db, directory);
    if (m_progress.IsAvailable()) {
        // Progress and rows now vanish together: only a file's last commit
        // needs to wait for the disk.
        db->setDurableCommits(false);
    }
    m_rejects = RejectFile(RejectFilePath(options));
    AuditFileClaim::RestoreInterruptedClaims(directory);

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

    for (const std::string& name : names) {
        if (StopRequest::Requested()) {
            m_statistics.interrupted = true;
            break;
        }
        const std::string path = FileTools::AddTermToPath(directory, name, FileTools::kPathDelim);
        g_CurrentAuditFile = path;
        std::string reason;
        switch (ClaimFile(path, reason)) {
            case AuditFileClaim::Outcome::kTaken:
                LoadClaimedFile(path);
                break;
            case AuditFileClaim::Outcome::kTakenElsewhere:
                break;  // another loader has it: nothing to say
            case AuditFileClaim::Outcome::kNotRegular:
                Messenger::Get().DisplayMessage(53, path, reason);
                m_statistics.files.push_back(FileStatistics{path, FileOutcome::kSkipped});
                break;
            case AuditFileClaim::Outcome::kFailed:
                Messenger::Get().DisplayMessage(52, path, reason);
                m_statistics.files.push_back(FileStatistics{path, FileOutcome::kSkipped});
                break;
        }
        if (m_statistics.interrupted) {
            break;
        }
    }
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
