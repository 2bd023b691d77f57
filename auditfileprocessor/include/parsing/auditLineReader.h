// Reads an audit file line by line, each line whole however long it is, up to
// a limit: a longer line is read to its end in bounded memory and reported as
// too long with its head kept. Line ends are "\n" or "\r\n"; neither is part
// of the text handed out. The reader counts the bytes it consumed, so that a
// caller can record where a line ended and tell whether the file grew.
//   AuditLineReader reader;
//   if (!reader.Open(path)) { /* errno says why */ }
//   std::string line;
//   while (reader.Next(line) == AuditLineReader::Status::kLine) { handle(line); }
#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

#include "fileDescriptor.h"

class AuditLineReader {
  public:
    enum class Status {
        kLine,              // a whole line, its line end removed
        kUnterminatedLine,  // the file's last bytes, with no newline after them
        kTooLong,           // a line longer than the limit, read to its end; its head is kept
        kEnd,               // nothing more to read
        kError,             // a read error; errno tells which
    };

    // The longest line handed out whole, line end excluded.
    static constexpr size_t kMaxLineBytes = size_t{1024} * 1024;

    explicit AuditLineReader(size_t maxLineBytes = kMaxLineBytes);

    // Opens the file for reading, without following a final symbolic link
    // (ELOOP) and without waiting on a fifo; false (errno set) when it cannot
    // be opened, EINVAL for anything but a regular file.
    bool Open(const std::string& path);
    // The next line into `text` (for kTooLong, its first maxLineBytes bytes).
    Status Next(std::string& text);
    // Bytes consumed so far, line ends included: where the next line begins.
    uint64_t Offset() const { return m_offset; }
    // The file's first `bytes` bytes (fewer when it is shorter), read without
    // moving the reading position; false on a read error.
    bool ReadPrefix(size_t bytes, std::string& prefix) const;
    // The file's size now, read from the open descriptor; false on failure.
    bool CurrentSize(uint64_t& size) const;
    // When the file was last written to; false on failure.
    bool LastModified(std::time_t& when) const;

  private:
    // Reads more bytes into the buffer; false at end of file or on error.
    bool Fill();

    size_t m_maxLineBytes;
    FileDescriptor m_file;
    std::vector<char> m_buffer;
    size_t m_begin = 0;  // first unconsumed byte in m_buffer
    size_t m_end = 0;    // one past the last byte read into m_buffer
    bool m_eof = false;
    bool m_error = false;
    uint64_t m_offset = 0;
};
