// Owns one open file descriptor and closes it when it goes out of scope.
//   FileDescriptor file(::open(path, O_RDONLY | O_CLOEXEC));
//   if (!file.valid()) return;
#pragma once

#include <fcntl.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <string>

class FileDescriptor {
  public:
    explicit FileDescriptor(int descriptor = -1) : m_descriptor(descriptor) {}
    ~FileDescriptor() { reset(); }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    FileDescriptor(FileDescriptor&& other) noexcept : m_descriptor(other.release()) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        if (this != &other) {
            reset(other.release());
        }
        return *this;
    }

    // open(2), tried again when a signal interrupts it; invalid on failure,
    // with errno telling why.
    static FileDescriptor Open(const std::string& path, int flags, mode_t permissions = 0) {
        int descriptor;
        do {
            descriptor = ::open(path.c_str(), flags, permissions);
        } while (descriptor < 0 && errno == EINTR);
        return FileDescriptor(descriptor);
    }

    bool valid() const { return m_descriptor >= 0; }
    int get() const { return m_descriptor; }
    int release() {
        const int descriptor = m_descriptor;
        m_descriptor = -1;
        return descriptor;
    }
    // Closes the descriptor held, if any. close is not retried on EINTR: the
    // descriptor is released either way, and a retry could close another file.
    void reset(int descriptor = -1) {
        if (m_descriptor >= 0) {
            ::close(m_descriptor);
        }
        m_descriptor = descriptor;
    }

  private:
    int m_descriptor;
};
