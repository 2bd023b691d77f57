// The directory scan: which files of the audit directory are loaded, how each
// is claimed, and what becomes of it afterwards.
#include <cstdio>
#include <string>
#include <utility>

#include "cppWebException.h"
#include "directoryLister.h"
#include "fileTools.h"
#include "krlAssertError.h"
#include "messenger.h"
#include "parser.h"
#include "programGlobals.h"

const char Parser::kAuditFilePrefix[] = "qxes_audit";
const char Parser::kAuditFileExt[] = ".log";
const char Parser::kLiveAuditFile[] = "qxes_audit.log";
const char Parser::kDoneExt[] = ".___";

void Parser::ParseDir() {
    const std::string& directory = options.auditLocation;
    if (!DirectoryLister::DirectoryExists(directory)) {
        std::string text;
        GetMessage(22, text);
        throw CPPWebException(text + directory, 1,
                              {"parser", 103, "Parser::ParseDir", "KRL_THROW"});
    }
    AuditFileClaim::RestoreInterruptedClaims(directory);

    DirectoryLister lister(directory, kAuditFileExt);
    DirectoryLister::Entry entry;
    while (lister.Next(entry)) {
        if (entry.isDirectory) {
            continue;
        }
        // The live file is still being written by the server.
        if (entry.name.find(kAuditFilePrefix) == std::string::npos ||
            entry.name.find(kLiveAuditFile) != std::string::npos) {
            continue;
        }
        const std::string path =
            FileTools::AddTermToPath(directory, entry.name, FileTools::kPathDelim);
        g_CurrentAuditFile = path;
        if (!IsFileAvailableForWriting(path.c_str())) {
            continue;
        }
        // Held until the file has its final name, also when Parse throws.
        const AuditFileClaim claim = std::move(m_claim);

        Messenger::m_sAuditLogFileName = path;
        Messenger::m_isParsingNewLog = true;
        fileDisposable = true;
        Parse(path);

        if (!options.deleteAuditFiles) {
            // Set aside whatever the outcome: an unreadable or foreign file is
            // not retried either.
            constexpr auto string_npos = std::string::npos;
            const std::string::size_type pos = path.rfind('.');
            KRL_ASSERT(string_npos != pos, "auditfileprocessor/source/parser", 135);
            const std::string doneName = path.substr(0, pos) + kDoneExt;
            if (std::rename(path.c_str(), doneName.c_str()) != 0) {
                Messenger::Get().DisplayMessage(21, path);
            }
        } else if (fileDisposable) {
            if (std::remove(path.c_str()) != 0) {
                Messenger::Get().DisplayMessage(20, path);
            }
        }
    }
    lister.Close();
}

bool Parser::IsFileAvailableForWriting(const char* path) const {
    AuditFileClaim claim;
    if (path == nullptr || !claim.Take(path)) {
        return false;
    }
    m_claim = std::move(claim);
    return true;
}
