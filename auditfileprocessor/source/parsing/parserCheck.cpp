// The check of a set-up ("-check"): whether the audit directory can be used,
// whether the bookkeeping tables are there, and where a run would begin to
// load each audit file; nothing is claimed, renamed or written.
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "auditFileLoad.h"
#include "directoryLister.h"
#include "fileTools.h"
#include "messenger.h"
#include "parser.h"

Parser::SetUpCheck Parser::CheckDir() {
    SetUpCheck check;
    Messenger& messenger = Messenger::Get();
    const std::string& directory = options.auditLocation;
    if (!DirectoryLister::DirectoryExists(directory)) {
        messenger.DisplayMessage(77, directory, "the audit directory does not exist");
        check.directoryUsable = false;
        ++check.problems;
        return check;
    }
    // Files are read, and renamed when claimed and when set aside.
    if (::access(directory.c_str(), R_OK | W_OK | X_OK) != 0) {
        messenger.DisplayMessage(77, directory,
                                 std::string("this user may not list, enter and write the audit "
                                             "directory: ") +
                                     std::strerror(errno));
        check.directoryUsable = false;
        ++check.problems;
        return check;
    }
    std::string reason;
    if (!m_progress.Check(db, directory, reason)) {
        messenger.DisplayMessage(79, reason);
    }
    for (const std::string& name : AuditFileNames(directory)) {
        const std::string path = FileTools::AddTermToPath(directory, name, FileTools::kPathDelim);
        AuditFileLoad load(*this, path);
        std::string start;
        if (!load.PlannedStart(start)) {
            ++check.problems;
        } else if (!start.empty()) {
            messenger.DisplayMessage(76, path, start);
            ++check.filesToLoad;
        }
    }
    return check;
}

std::vector<std::string> Parser::AuditFileNames(const std::string& directory) {
    std::vector<std::string> names;
    DirectoryLister lister(directory, kAuditFileExt, true);
    DirectoryLister::Entry entry;
    while (lister.Next(entry)) {
        if (!entry.isDirectory && entry.otherKind.empty() && IsAuditFileName(entry.name)) {
            names.push_back(entry.name);
        }
    }
    lister.Close();
    // In byte order: the server's time-stamped names come oldest first.
    std::sort(names.begin(), names.end());
    return names;
}

bool Parser::IsAuditFileName(const std::string& name) {
    // The live file is still being written by the server.
    return name.find(kAuditFilePrefix) != std::string::npos &&
           name.find(kLiveAuditFile) == std::string::npos;
}
