// The life of one run: find the program directory, set up the locale and the
// message catalogue, read the command line, then connect and load every audit
// file. Every failure ends in one outer handler that shows one message; the run
// then still exits with status 0.
#include <sys/stat.h>

#include <csignal>
#include <cstdio>
#include <memory>
#include <string>

#include "afpOptions.h"
#include "commandLine.h"
#include "cppWebException.h"
#include "dataAccessLayer.h"
#include "fileTools.h"
#include "messenger.h"
#include "parser.h"
#include "processingLocale.h"
#include "programDirectory.h"
#include "programGlobals.h"
#include "qxMessage.h"
#include "rdxSqlException.h"
#include "sqldbapi.h"

namespace {

const char kSourceFile[] = "afpmain";
const char kFunction[] = "qxesauditfileprocessor::main";

ExceptionLocation At(int line) {
    return ExceptionLocation{kSourceFile, line, kFunction, "KRL_THROW"};
}

// A lost database connection must show as an error of its statement, not kill
// the process with SIGPIPE.
int InitializeRuntime() {
    return std::signal(SIGPIPE, SIG_IGN) == SIG_ERR ? -1 : 0;
}

void SetUpMessages() {
    std::string locale;
    GetProcessingLocaleSettings(locale);
    robustSetLocale(locale, nullptr);
    QXMessage::Init("afpmsg", g_pgm_dir);
    QXMessage::SetLanguage(LanguageOfLocale(locale), CurrentLocaleEncoding());
}

// The dump holds the password, so only its owner may read it. A dump that
// cannot be opened is no error: the run goes on without one.
void OpenSqlDumpFile(const std::string& path) {
    if (path.empty() || g_SQLDumpFile != nullptr) {
        return;
    }
    g_SQLDumpFile = FileTools::_fopen(path, "w", S_IRUSR | S_IWUSR);
    if (g_SQLDumpFile != nullptr) {
        ::fchmod(fileno(g_SQLDumpFile), S_IRUSR | S_IWUSR);
    }
}

void WriteConnectionToDump(const AFPOptions& options, const std::string& description) {
    if (g_SQLDumpFile == nullptr) {
        return;
    }
    const std::string lines = options.dbName + "\t" + options.dbConnect + "\t" + options.dbUser +
                              "\t" + options.dbPassword + "\t" + options.dbType + "\n" +
                              description + "\n";
    std::fwrite(lines.data(), 1, lines.size(), g_SQLDumpFile);
    std::fflush(g_SQLDumpFile);
}

void LoadAuditFiles(const AFPOptions& options) {
    if (rdxProcessInitialize(kProgramName) < 0) {
        throw CPPWebException(37, 1, At(112));
    }
    OpenSqlDumpFile(options.sqlDumpFile);
    auto db = std::make_unique<SQLDB>();
    const std::string description = db->connect(options.dbName, options.dbConnect, options.dbType,
                                                options.dbUser, options.dbPassword);
    WriteConnectionToDump(options, description);
    // The parser goes before the session that it uses.
    auto parser = std::make_unique<Parser>(options, db.get(), std::string(g_pgm_dir));
    parser->ParseDir();
    parser.reset();
    db.reset();
}

void Run(int argc, char** argv, AFPOptions& options) {
    if (InitializeRuntime() != 0) {
        throw CPPWebException(46, 1, At(76));
    }
    SetUpMessages();
    if (!ProcessCommandLine(argc, argv, &options)) {
        throw CPPWebException(8, 1, At(105));
    }
    Messenger::m_sErrorLogFileName = options.errorLogFile;
    LoadAuditFiles(options);
}

}  // namespace

int main(int argc, char** argv) {
    AFPOptions options;
    if (!FindProgramDirectory(argc > 0 ? argv[0] : nullptr)) {
        return 1;
    }
    try {
        try {
            Run(argc, argv, options);
        } catch (RDXSQLException& error) {
            error.addLocation(At(161));
            throw;
        } catch (CPPWebException& error) {
            error.addLocation(At(159));
            throw;
        } catch (...) {
            throw CPPWebException(1, 1, At(163));
        }
    } catch (CPPWebException& error) {
        if (!error.getErrorCodeMessage().empty()) {
            Messenger::Get().DisplayMessage(error.getErrorCodeMessage());
        } else {
            Messenger::Get().DisplayMessage(error.getErrorCode());
        }
    }
    return 0;
}
