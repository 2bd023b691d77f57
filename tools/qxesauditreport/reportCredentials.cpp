#include "reportCredentials.h"

#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>

#include "messenger.h"
#include "passwordFile.h"
#include "processingLocale.h"
#include "qxMessage.h"

namespace {

// The loader's catalogue, found beside the program as the loader finds it;
// without one the messages still show their numbers and inserts.
void SetUpMessages() {
    std::error_code error;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
    if (!error) {
        std::string locale;
        GetProcessingLocaleSettings(locale);
        QXMessage::Init("afpmsg", program.parent_path().string() + "/");
        QXMessage::SetLanguage(LanguageOfLocale(locale), "UTF-8");
    }
    Messenger::m_fpErrorLogFile = stderr;
}

}  // namespace

bool ReportCredentials::readPasswordFile(ReportOptions& options) {
    if (options.passwordFile.empty()) {
        return true;
    }
    SetUpMessages();
    return PasswordFile::Read(options.passwordFile, options.dbPassword);
}
