// The settings of one run, carried by value from the command line into the
// parser. The configuration file loader belongs to the class, but a run does not
// call it: every setting of a run comes from the defaults and the command line.
//   AFPOptions options;            // defaults: empty texts, flags false, 10 rows
//   options.LoadConfFileOptions(); // reads qxesafp.conf beside the program
#pragma once

#include <string>

extern const std::string kErrorLogFileLocation;
extern const std::string kTransactionRowCount;
extern const std::string kStopOnAllErrors;
extern const std::string kDeleteAuditFile;
extern const std::string kAFPConfigErrorFileName;
extern const std::string kAFPConfigFileName;

class AFPOptions {
  public:
    AFPOptions();
    AFPOptions(const std::string& databaseName, const std::string& databaseType,
               const std::string& connectString, const std::string& user,
               const std::string& password, const std::string& auditDirectory,
               const std::string& dumpFile, const std::string& errorLog,
               const int& rowsPerTransaction, const bool& stopOnErrors);
    AFPOptions(const AFPOptions&) = default;
    AFPOptions& operator=(const AFPOptions&) = default;

    // Reads "qxesafp.conf" from the program directory into this object; a
    // missing file leaves every value as it is. An unknown key is an assertion.
    void LoadConfFileOptions();
    // The same, from a given file (the run's file is the one beside the program).
    void LoadConfFileOptions(const std::string& path);

    std::string dbName;
    std::string dbType;
    std::string dbConnect;
    std::string dbUser;
    std::string dbPassword;
    std::string auditLocation;
    std::string sqlDumpFile;
    bool deleteAuditFiles = false;
    bool stopOnAllErrors = false;
    int transactionRowCount = 10;
    std::string errorLogFile;

    // Where refused lines are appended with their cause ("-rejectfile"); empty
    // means beside the error log, or none without an error log.
    std::string rejectFile;
    // A file holding the database password ("-passfile"), read instead of "-dbpass".
    std::string passwordFile;
    // "-exitstatus detailed": the exit status tells how the run went; by
    // default it is 0 on every path that reaches the end.
    bool detailedExitStatus = false;
    // Run reports written at the end of the run ("-report" JSON, "-metrics" Prometheus text).
    std::string reportFile;
    std::string metricsFile;
    // How often a lost PostgreSQL connection is tried again ("-retries").
    int connectRetries = 5;
    // How long SQLite waits for another loader's lock, in seconds ("-lockwait").
    int lockWaitSeconds = 60;
    // A file written to less than this many seconds before its load ended
    // may still be in its writer's hands: it is put back, not set aside ("-settle").
    int settleSeconds = 60;
};
