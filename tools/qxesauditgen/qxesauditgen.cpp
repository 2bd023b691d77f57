// qxesauditgen: writes the audit files of a simulated reporting server, for
// loading tests and benchmarks of the audit file processor.
//   qxesauditgen --output /tmp/audit --seed 7 --files 3 --lines 100000 --live
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <string>

#include "auditDirectoryWriter.h"
#include "auditGenOptions.h"
#include "auditRecord.h"
#include "auditTrafficGenerator.h"

int main(int argc, char** argv) {
    AuditGenOptions options;
    std::string error;
    if (!options.parse(argc, argv, error)) {
        std::fprintf(stderr, "qxesauditgen: %s\n%s", error.c_str(), AuditGenOptions::usage());
        return 2;
    }
    if (options.helpRequested) {
        std::fputs(AuditGenOptions::usage(), stdout);
        return 0;
    }
    if (options.versionRequested) {
        std::printf("qxesauditgen %s\n", AFP_VERSION);
        return 0;
    }
    try {
        // Generated servers run on UTC, so that the same seed gives the same
        // bytes whatever the machine's zone.
        setenv("TZ", "UTC0", 1);
        tzset();
        AuditRecord zone;
        zone.determineLocalTime(AuditTrafficGenerator::startSecond(options.seed), 0);

        AuditDirectoryWriter writer(options.outputDirectory);
        AuditTrafficGenerator generator(options, zone.time_zone, zone.difference_from_GMT, writer);
        generator.run();
        std::printf("qxesauditgen: %llu lines in %s\n",
                    static_cast<unsigned long long>(generator.linesWritten()),
                    options.outputDirectory.c_str());
    } catch (const std::exception& e) {
        std::fprintf(stderr, "qxesauditgen: %s\n", e.what());
        return 1;
    }
    return 0;
}
