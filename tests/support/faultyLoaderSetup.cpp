// Linked into a test build of the loader only: before main() runs, wraps the
// database drivers with the faults that AFP_FAULT names ("commit=N",
// "statement=K" or "drop=K"), so that the whole program meets them as it
// would meet a failing database.
#include <cstdio>
#include <cstdlib>

#include "faultyDriver.h"

namespace {

bool InstallFaultsFromEnvironment() {
    const char* text = std::getenv("AFP_FAULT");
    FaultyDriver::Plan plan;
    if (text != nullptr && !FaultyDriver::ParsePlan(text, plan)) {
        std::fprintf(stderr, "AFP_FAULT=%s is none of commit=N, statement=K, drop=K\n", text);
        std::exit(2);
    }
    FaultyDriver::Install(plan);
    return true;
}

const bool g_faultsInstalled = InstallFaultsFromEnvironment();

}  // namespace
