#include "auditDirectoryWriter.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "auditSupport.h"

namespace {

const char kWritingSuffix[] = ".writing";

}  // namespace

AuditDirectoryWriter::AuditDirectoryWriter(std::string directory)
    : m_directory(std::move(directory)) {
    if (m_directory.empty()) {
        m_directory = ".";
    }
    std::error_code error;
    std::filesystem::create_directories(m_directory, error);
    if (error || !std::filesystem::is_directory(m_directory)) {
        fail("cannot create directory", m_directory, error ? error.value() : ENOTDIR);
    }
    if (m_directory.back() != '/') {
        m_directory += '/';
    }
    m_buffer.reserve(kFlushSize + 4096);
}

AuditDirectoryWriter::~AuditDirectoryWriter() {
    if (m_file != nullptr) {
        std::fclose(m_file);
        std::remove(m_writingPath.c_str());
    }
}

void AuditDirectoryWriter::beginFile(const std::string& fileName) {
    if (m_file != nullptr) {
        endFile(std::time(nullptr));
    }
    m_finalPath = m_directory + fileName;
    m_writingPath = m_finalPath + kWritingSuffix;
    m_file = std::fopen(m_writingPath.c_str(), "w");
    if (m_file == nullptr) {
        fail("cannot create", m_writingPath, errno);
    }
    m_buffer.assign(AuditSupport::kAuditFileHeader);
}

void AuditDirectoryWriter::writeRecord(const AuditLine& line) {
    append(line.type);
    append(line.time_stamp);
    append(line.time_zone);
    append(line.difference_from_GMT);
    append(line.session_id);
    append(line.request_id);
    append(line.component_id);
    append(line.message_format);
    append(line.message);
    m_buffer.push_back('\n');
    if (m_buffer.size() >= kFlushSize) {
        flush();
    }
}

void AuditDirectoryWriter::endFile(int64_t lastWriteSecond) {
    if (m_file == nullptr) {
        return;
    }
    flush();
    FILE* file = std::exchange(m_file, nullptr);
    if (std::fclose(file) != 0) {
        int error = errno;
        std::remove(m_writingPath.c_str());
        fail("cannot write", m_writingPath, error);
    }
    const struct timespec times[2] = {{lastWriteSecond, 0}, {lastWriteSecond, 0}};
    if (::utimensat(AT_FDCWD, m_writingPath.c_str(), times, 0) != 0) {
        int error = errno;
        std::remove(m_writingPath.c_str());
        fail("cannot date", m_writingPath, error);
    }
    if (std::rename(m_writingPath.c_str(), m_finalPath.c_str()) != 0) {
        int error = errno;
        std::remove(m_writingPath.c_str());
        fail("cannot rename to", m_finalPath, error);
    }
}

void AuditDirectoryWriter::flush() {
    if (!m_buffer.empty() &&
        std::fwrite(m_buffer.data(), 1, m_buffer.size(), m_file) != m_buffer.size()) {
        fail("cannot write", m_writingPath, errno);
    }
    m_buffer.clear();
}

void AuditDirectoryWriter::fail(const char* operation, const std::string& path, int error) const {
    throw std::runtime_error(std::string(operation) + " " + path + ": " + std::strerror(error));
}
