#include "failedOutputs.h"

#include <algorithm>

namespace {

std::string Entry(const std::string& kind, const std::string& path) {
    return path.empty() ? kind : kind + " " + path;
}

}  // namespace

std::vector<std::string>& FailedOutputs::Entries() {
    static std::vector<std::string> entries;
    return entries;
}

void FailedOutputs::Record(const std::string& kind, const std::string& path) {
    if (!Contains(kind, path)) {
        Entries().push_back(Entry(kind, path));
    }
}

bool FailedOutputs::Contains(const std::string& kind, const std::string& path) {
    const std::vector<std::string>& entries = Entries();
    return std::find(entries.begin(), entries.end(), Entry(kind, path)) != entries.end();
}

const std::vector<std::string>& FailedOutputs::List() {
    return Entries();
}
