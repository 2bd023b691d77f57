#include "processingLocale.h"

#include <langinfo.h>

#include <cctype>
#include <clocale>
#include <cstdlib>

void GetProcessingLocaleSettings(std::string& locale) {
    if (!locale.empty()) {
        return;
    }
    for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const char* value = std::getenv(variable);
        if (value != nullptr && value[0] != '\0') {
            locale = value;
            return;
        }
    }
    locale = "C";
}

void robustSetLocale(const std::string& locale, std::string* applied) {
    for (const char* candidate : {locale.c_str(), "C.UTF-8", "C"}) {
        if (std::setlocale(LC_ALL, candidate) != nullptr) {
            if (applied != nullptr) {
                *applied = candidate;
            }
            return;
        }
    }
}

std::string LanguageOfLocale(const std::string& locale) {
    const std::string name = locale.substr(0, locale.find_first_of(".@"));
    if (name.empty() || name == "C" || name == "POSIX") {
        return "en-us";
    }
    std::string language;
    for (char c : name) {
        language += c == '_' ? '-' : static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return language;
}

std::string CurrentLocaleEncoding() {
    const char* codeset = nl_langinfo(CODESET);
    return codeset != nullptr && codeset[0] != '\0' ? codeset : "ANSI_X3.4-1968";
}
