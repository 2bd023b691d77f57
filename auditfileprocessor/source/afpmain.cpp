// The life of one run: find the program directory, set up the locale and the
// message catalogue, read the command line, then connect and load every audit
// file. Every failure ends in one outer handler that shows one message; the run
// then still exits with status 0.
#include <csignal>
#include <string>

#include "afpOptions.h"
#include "commandLine.h"
#include "cppWebException.h"
#include "messenger.h"
#include "processingLocale.h"
#include "programDirectory.h"
#include "programGlobals.h"
#include "qxMessage.h"
#include "rdxSqlException.h"

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

void Run(int argc, char** argv, AFPOptions& options) {
    if (InitializeRuntime() != 0) {
        throw CPPWebException(46, 1, At(76));
    }
    SetUpMessages();
    if (!ProcessCommandLine(argc, argv, &options)) {
        throw CPPWebException(8, 1, At(105));
    }
    Messenger::m_sErrorLogFileName = options.errorLogFile;
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
