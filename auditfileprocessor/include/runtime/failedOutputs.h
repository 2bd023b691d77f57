// The outputs of the run that could not be written (refused, not opened, or a
// write that failed), each named once as "<kind> <path>" (the kind alone for
// standard output), in the order they failed. Whoever writes an output records
// it here; the program reads the list at the end for the run's outcome and its
// exit status.
//   FailedOutputs::Record("error log", "/var/log/afp/errors.log");
//   if (!FailedOutputs::List().empty()) { /* exit status 73 */ }
#pragma once

#include <string>
#include <vector>

class FailedOutputs {
  public:
    static void Record(const std::string& kind, const std::string& path);
    static bool Contains(const std::string& kind, const std::string& path);
    static const std::vector<std::string>& List();

  private:
    static std::vector<std::string>& Entries();
};
