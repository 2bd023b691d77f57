// The command line of the usage report: the loader's connection options (its
// password file too), the period, and where the page and the text summary go.
//   ReportOptions options;
//   std::string error;
//   if (!options.parse(argc, argv, error)) { std::cerr << error; return 2; }
//   options.dbType;  // "SQ" from -dbconnect "LOCAL;SQ;"
#pragma once

#include <string>

class ReportOptions {
  public:
    // Reads the arguments after the program name; false with `error` set when
    // an option is unknown, repeated, lacks its value or has a bad one.
    bool parse(int argc, const char* const* argv, std::string& error);
    static const char* usage();

    // "YYYY-MM-DD" or "YYYY-MM-DD HH:MM:SS" as "YYYY-MM-DD HH:MM:SS"; empty
    // when the text is no real date and time.
    static std::string normalizeTime(const std::string& text);

    std::string dbName, dbType, dbConnect, dbUser, dbPassword;
    std::string passwordFile;  // empty: the password is -dbpass
    std::string since, until;  // normalised; empty for an open end
    std::string htmlFile;      // empty: no page
    std::string textFile;      // "-" standard output; empty: no summary
    bool help = false, version = false;
};
