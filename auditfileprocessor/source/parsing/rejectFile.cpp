#include "rejectFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

RejectFile::RejectFile(std::string path) : m_path(std::move(path)) {}

bool RejectFile::Append(const std::string& auditFile, uint64_t lineNumber, const std::string& cause,
                        const std::string& rawLine, std::string& reason) {
    if (m_path.empty()) {
        return true;
    }
    if (!m_file.valid()) {
        m_file = FileDescriptor::Open(m_path,
                                      O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
        if (!m_file.valid()) {
            reason = std::string("cannot open it: ") + std::strerror(errno);
            return false;
        }
    }
    // One write per record, so that two loaders appending to the same file
    // never interleave their records.
    const std::string record =
        "# " + auditFile + ":" + std::to_string(lineNumber) + ": " + cause + "\n" + rawLine + "\n";
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
            return false;
        }
        written += static_cast<size_t>(count);
    }
    return true;
}
