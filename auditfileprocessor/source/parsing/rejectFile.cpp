#include "rejectFile.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "failedOutputs.h"
#include "noFollowFile.h"
#include "oneLine.h"

RejectFile::RejectFile(std::string path) : m_path(std::move(path)) {}

bool RejectFile::Append(const std::string& auditFile, Position where, const std::string& cause,
                        const std::string& rawLine, std::string& reason) {
    if (m_path.empty()) {
        return true;
    }
    if (!m_file.valid()) {
        bool isLink = false;
        m_file = NoFollowFile::OpenDescriptor(m_path, NoFollowFile::kAppend,
                                              NoFollowFile::kGroupMayRead, reason, isLink);
        if (!m_file.valid()) {
            reason = "cannot open it: " + reason;
            FailedOutputs::Record("reject file", m_path);
            return false;
        }
    }
    // One write per record, so that two loaders appending to the same file
    // never interleave their records. The raw line is kept as it was read, to
    // be mended and loaded again; it holds no line end.
    const std::string record =
        "# " + OneLine::Escaped(auditFile) + ":" + std::to_string(where.line) + ": at byte " +
        std::to_string(where.offset) + ": " + OneLine::Escaped(cause) + "\n" + rawLine + "\n";
    size_t written = 0;
    while (written < record.size()) {
        const ssize_t count =
            ::write(m_file.get(), record.data() + written, record.size() - written);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            reason = std::string("cannot write it: ") +
                     (count < 0 ? std::strerror(errno) : "nothing was written");
            FailedOutputs::Record("reject file", m_path);
            return false;
        }
        written += static_cast<size_t>(count);
    }
    return true;
}
