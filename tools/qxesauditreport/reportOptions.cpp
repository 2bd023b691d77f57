#include "reportOptions.h"

#include <cctype>
#include <cstdio>
#include <map>

namespace {

bool Digits(const std::string& text, size_t at, size_t count) {
    for (size_t i = at; i < at + count; ++i) {
        if (i >= text.size() || !std::isdigit(static_cast<unsigned char>(text[i]))) {
            return false;
        }
    }
    return true;
}

int Field(const std::string& text, size_t at, size_t count) {
    return std::stoi(text.substr(at, count));
}

// The loader's spelling of an option name: lower case, one dash. The report's
// first options had two ("--since"), and scripts that use them keep working.
std::string LoaderSpelling(const std::string& option) {
    std::string name = option.compare(0, 2, "--") == 0 ? option.substr(1) : option;
    for (char& c : name) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return name;
}

}  // namespace

const char* ReportOptions::usage() {
    return "usage: qxesauditreport -dbname DATABASE -dbconnect 'LOCAL;TYPE;CONNECTION'\n"
           "           -dbuser USER -dbpass PASSWORD|-passfile FILE [-since TIME]\n"
           "           [-until TIME] [-output FILE.html] [-text FILE|-]\n"
           "       qxesauditreport --help | --version\n"
           "\n"
           "Writes a usage report of an audit database: one self-contained HTML page\n"
           "with charts (-output) and a plain-text summary (-text, '-' for standard\n"
           "output). The connection options are the loader's: TYPE is SQ (SQLite) or\n"
           "PG (PostgreSQL, CONNECTION a libpq string whose first %s takes the user and\n"
           "second the password); -passfile reads the password from the first line of\n"
           "a file readable by its owner only. The period covers the requests that\n"
           "started from -since (included) up to -until (excluded); TIME is YYYY-MM-DD\n"
           "or 'YYYY-MM-DD HH:MM:SS'. Option names take any case, and two dashes as\n"
           "well as one. Exit status: 0 done, 1 failed, 2 bad command line.\n";
}

std::string ReportOptions::normalizeTime(const std::string& text) {
    static const int kDaysInMonth[] = {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool dateOnly = text.size() == 10;
    if ((!dateOnly && text.size() != 19) || !Digits(text, 0, 4) || text[4] != '-' ||
        !Digits(text, 5, 2) || text[7] != '-' || !Digits(text, 8, 2)) {
        return "";
    }
    if (!dateOnly && (text[10] != ' ' || !Digits(text, 11, 2) || text[13] != ':' ||
                      !Digits(text, 14, 2) || text[16] != ':' || !Digits(text, 17, 2))) {
        return "";
    }
    const int year = Field(text, 0, 4), month = Field(text, 5, 2), day = Field(text, 8, 2);
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    if (month < 1 || month > 12 || day < 1 || day > kDaysInMonth[month - 1] ||
        (month == 2 && day == 29 && !leap)) {
        return "";
    }
    if (dateOnly) {
        return text + " 00:00:00";
    }
    if (Field(text, 11, 2) > 23 || Field(text, 14, 2) > 59 || Field(text, 17, 2) > 59) {
        return "";
    }
    return text;
}

bool ReportOptions::parse(int argc, const char* const* argv, std::string& error) {
    std::string connectText;
    const std::map<std::string, std::string*> valued = {
        {"-dbname", &dbName},     {"-dbconnect", &connectText}, {"-dbuser", &dbUser},
        {"-dbpass", &dbPassword}, {"-passfile", &passwordFile}, {"-since", &since},
        {"-until", &until},       {"-output", &htmlFile},       {"-text", &textFile}};
    std::map<std::string, bool> seen;
    for (int i = 1; i < argc; ++i) {
        const std::string option = LoaderSpelling(argv[i]);
        if (option == "-help" || option == "-h") {
            help = true;
            return true;
        }
        if (option == "-version") {
            version = true;
            return true;
        }
        const auto target = valued.find(option);
        if (target == valued.end()) {
            error = "unknown option '" + std::string(argv[i]) + "'";
            return false;
        }
        if (seen[option]) {
            error = "option " + option + " given twice";
            return false;
        }
        seen[option] = true;
        if (i + 1 >= argc) {
            error = "option " + option + " needs a value";
            return false;
        }
        *target->second = argv[++i];
    }
    for (const char* required : {"-dbname", "-dbconnect", "-dbuser"}) {
        if (!seen[required]) {
            error = std::string("option ") + required + " is required";
            return false;
        }
    }
    if (!seen["-dbpass"] && !seen["-passfile"]) {
        error = "option -dbpass or -passfile is required";
        return false;
    }
    if (htmlFile.empty() && textFile.empty()) {
        error = "nothing to write: give -output FILE.html, -text FILE, or both";
        return false;
    }
    // LOCAL;TYPE;CONNECTION, the connection text possibly empty.
    const size_t typeEnd = connectText.find(';', 6);
    if (connectText.compare(0, 6, "LOCAL;") != 0 || typeEnd == std::string::npos) {
        error = "-dbconnect must be LOCAL;SQ; or LOCAL;PG;CONNECTION";
        return false;
    }
    dbType = connectText.substr(6, typeEnd - 6);
    dbConnect = connectText.substr(typeEnd + 1);
    if (dbType != "SQ" && dbType != "PG") {
        error = "unknown database type '" + dbType + "' in -dbconnect (SQ or PG)";
        return false;
    }
    for (std::string* time : {&since, &until}) {
        const std::string given = *time;
        if (!given.empty() && (*time = normalizeTime(given)).empty()) {
            error = "'" + given + "' is no date (YYYY-MM-DD or 'YYYY-MM-DD HH:MM:SS')";
            return false;
        }
    }
    if (!since.empty() && !until.empty() && since >= until) {
        error = "-since must come before -until";
        return false;
    }
    return true;
}
