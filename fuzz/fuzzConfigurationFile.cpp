// Fuzz target: the configuration file loader, over the input written to a
// scratch file.
//
// An unknown key is refused with KRLAssertError, as specified. A file is read
// as a C text up to its first NUL, and what follows its last complete line is
// never applied: a text without a newline that is too short to be cut into a
// line (1,024 characters at most) may change nothing.
#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>

#include "afpOptions.h"
#include "fuzzSupport.h"

namespace {

// The longest line the loader collects before it cuts one.
constexpr size_t kMaxLineLength = 1024;

bool SameAsDefaults(const AFPOptions& options) {
    const AFPOptions defaults;
    return options.deleteAuditFiles == defaults.deleteAuditFiles &&
           options.stopOnAllErrors == defaults.stopOnAllErrors &&
           options.transactionRowCount == defaults.transactionRowCount &&
           options.errorLogFile == defaults.errorLogFile;
}

const std::string& ConfigurationPath() {
    static fuzzSupport::ScratchDirectory scratch("afp-fuzz-conf");
    static const std::string path = scratch.path() + "/qxesafp.conf";
    return path;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzzSupport::SilenceMessages();
    ConfigurationPath();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzzSupport::WriteFile(ConfigurationPath(), data, size);
    AFPOptions options;
    try {
        options.LoadConfFileOptions(ConfigurationPath());
    } catch (const std::exception&) {
        return 0;  // unknown key: KRLAssertError
    }
    const std::string text(reinterpret_cast<const char*>(data), size);
    const std::string asCText = text.substr(0, text.find('\0'));
    if (asCText.find('\n') == std::string::npos && asCText.size() <= kMaxLineLength &&
        !SameAsDefaults(options)) {
        fuzzSupport::Fail("a file without a complete line changed the options");
    }
    return 0;
}
