#include "auditLineReader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace {

constexpr size_t kBufferBytes = size_t{64} * 1024;

}  // namespace

AuditLineReader::AuditLineReader(size_t maxLineBytes) : m_maxLineBytes(maxLineBytes) {}

bool AuditLineReader::Open(const std::string& path) {
    m_file.reset();
    m_begin = m_end = 0;
    m_eof = m_error = false;
    m_offset = 0;
    // O_NONBLOCK so that a fifo put in the file's place cannot hang the open;
    // it changes nothing for the regular files we accept.
    FileDescriptor file =
        FileDescriptor::Open(path, O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    if (!file.valid()) {
        return false;
    }
    // Anything but a regular file (a fifo, a device, a directory) is refused
    // with EINVAL.
    struct stat info;
    if (::fstat(file.get(), &info) != 0) {
        return false;
    }
    if (!S_ISREG(info.st_mode)) {
        errno = EINVAL;
        return false;
    }
    m_buffer.resize(kBufferBytes);
    m_file = std::move(file);
    return true;
}

bool AuditLineReader::Fill() {
    m_begin = m_end = 0;
    ssize_t count;
    do {
        count = ::read(m_file.get(), m_buffer.data(), m_buffer.size());
    } while (count < 0 && errno == EINTR);
    m_error = count < 0;
    m_eof = count == 0;
    if (count <= 0) {
        return false;
    }
    m_end = static_cast<size_t>(count);
    return true;
}

AuditLineReader::Status AuditLineReader::Next(std::string& text) {
    text.clear();
    if (m_error) {
        return Status::kError;
    }
    // text keeps at most the limit's worth of bytes: all that a line within
    // the limit needs once its "\r" is dropped, and the head of a longer one.
    uint64_t lineBytes = 0;  // the whole line so far, whatever text keeps
    char lastByte = '\0';
    for (;;) {
        if (m_begin == m_end && !Fill()) {
            if (m_error) {
                return Status::kError;
            }
            if (lineBytes == 0) {
                return Status::kEnd;
            }
            // A last piece without a newline: a lone "\r" at its end is text.
            m_offset += lineBytes;
            // Too long wins: the caller learns of the lost bytes either way.
            return lineBytes > m_maxLineBytes ? Status::kTooLong : Status::kUnterminatedLine;
        }
        const char* begin = m_buffer.data() + m_begin;
        const size_t available = m_end - m_begin;
        const char* newline = static_cast<const char*>(std::memchr(begin, '\n', available));
        const size_t piece = newline != nullptr ? static_cast<size_t>(newline - begin) : available;
        if (text.size() < m_maxLineBytes) {
            text.append(begin, std::min(piece, m_maxLineBytes - text.size()));
        }
        if (piece > 0) {
            lastByte = begin[piece - 1];
        }
        lineBytes += piece;
        if (newline == nullptr) {
            m_begin = m_end;
            continue;
        }
        m_begin += piece + 1;
        m_offset += lineBytes + 1;
        const uint64_t length = lastByte == '\r' ? lineBytes - 1 : lineBytes;
        if (length > m_maxLineBytes) {
            return Status::kTooLong;
        }
        text.resize(static_cast<size_t>(length));
        return Status::kLine;
    }
}

bool AuditLineReader::LastModified(std::time_t& when) const {
    struct stat info;
    if (::fstat(m_file.get(), &info) != 0) {
        return false;
    }
    when = info.st_mtime;
    return true;
}

bool AuditLineReader::ReadPrefix(size_t bytes, std::string& prefix) const {
    prefix.assign(bytes, '\0');
    size_t got = 0;
    while (got < bytes) {
        const ssize_t read =
            ::pread(m_file.get(), &prefix[got], bytes - got, static_cast<off_t>(got));
        if (read < 0 && errno == EINTR) {
            continue;
        }
        if (read < 0) {
            return false;
        }
        if (read == 0) {
            break;
        }
        got += static_cast<size_t>(read);
    }
    prefix.resize(got);
    return true;
}

bool AuditLineReader::CurrentSize(uint64_t& size) const {
    struct stat info;
    if (::fstat(m_file.get(), &info) != 0) {
        return false;
    }
    size = static_cast<uint64_t>(info.st_size);
    return true;
}
