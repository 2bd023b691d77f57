// qxesauditreport: writes the usage report of an audit database, as a
// self-contained HTML page with charts and as a plain-text summary.
//   qxesauditreport -dbname audit.db -dbconnect 'LOCAL;SQ;' -dbuser a -dbpass b
//       -since 2011-03-01 -output report.html -text -
#include <cstdio>
#include <ctime>
#include <fstream>
#include <iostream>
#include <string>

#include "cppWebException.h"
#include "dataAccessLayer.h"
#include "htmlReportWriter.h"
#include "reportCredentials.h"
#include "reportOptions.h"
#include "reportQueries.h"
#include "sqldbapi.h"
#include "textReportWriter.h"

namespace {

const char kProgramName[] = "qxesauditreport";

std::string Now() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    char text[32] = "";
    if (localtime_r(&now, &local) != nullptr) {
        std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
    }
    return text;
}

// Writes the whole file under a temporary name, then renames it, so that a
// reader never sees half a report.
void WriteFile(const std::string& path, const std::string& content) {
    const std::string partial = path + ".partial";
    {
        std::ofstream out(partial, std::ios::binary | std::ios::trunc);
        out << content;
        out.close();
        if (!out) {
            std::remove(partial.c_str());
            throw std::runtime_error("cannot write " + path);
        }
    }
    if (std::rename(partial.c_str(), path.c_str()) != 0) {
        std::remove(partial.c_str());
        throw std::runtime_error("cannot write " + path + " (rename failed)");
    }
}

int Run(const ReportOptions& options) {
    if (rdxProcessInitialize(kProgramName) < 0) {
        throw std::runtime_error("the database client libraries cannot be initialised");
    }
    SQLDB db;
    db.connect(options.dbName, options.dbConnect, options.dbType, options.dbUser,
               options.dbPassword);
    const UsageReport report = ReportQueries(db, options.since, options.until).read();
    db.disconnect();
    const std::string writtenAt = Now();
    if (!options.htmlFile.empty()) {
        WriteFile(options.htmlFile, HtmlReportWriter(report, options.dbName, writtenAt).page());
    }
    if (options.textFile == "-") {
        std::cout << TextReportWriter(report, options.dbName, writtenAt).text() << std::flush;
        if (!std::cout) {
            throw std::runtime_error("cannot write the summary to standard output");
        }
    } else if (!options.textFile.empty()) {
        WriteFile(options.textFile, TextReportWriter(report, options.dbName, writtenAt).text());
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    ReportOptions options;
    std::string error;
    if (!options.parse(argc, argv, error)) {
        std::cerr << kProgramName << ": " << error << "\n" << ReportOptions::usage();
        return 2;
    }
    if (options.help) {
        std::cout << ReportOptions::usage();
        return 0;
    }
    if (options.version) {
        std::cout << kProgramName << " 1.0\n";
        return 0;
    }
    if (!ReportCredentials::readPasswordFile(options)) {
        return 2;
    }
    try {
        return Run(options);
    } catch (const CPPWebException& failure) {
        const std::string& text = failure.getErrorCodeMessage();
        std::cerr << kProgramName << ": " << (text.empty() ? failure.what() : text) << "\n";
    } catch (const std::exception& failure) {
        std::cerr << kProgramName << ": " << failure.what() << "\n";
    }
    return 1;
}
