// Owns one open file descriptor and closes it when it goes out of scope.
//   FileDescriptor file(::open(path, O_RDONLY | O_CLOEXEC));
//   if (!file.valid()) return;
#pragma once

#include <unistd.h>

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
