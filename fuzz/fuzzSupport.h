// Set-up shared by the fuzz targets: numbered messages silenced, and scratch
// directories on a memory file system when there is one (the loader's SQLite
// session syncs every commit, which costs nothing on tmpfs).
//   fuzzSupport::SilenceMessages();
//   static fuzzSupport::ScratchDirectory scratch("afp-fuzz-load");
//   fuzzSupport::WriteFile(scratch.path() + "/input", data, size);
#pragma once

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "messenger.h"

namespace fuzzSupport {

// The code under test reports refused input on standard output; thousands of
// runs a second would drown the fuzzer's own report.
inline void SilenceMessages() {
    Messenger::m_sErrorLogFileName = "/dev/null";
}

// Stops the run with a message that the fuzzer records as a crash.
[[noreturn]] inline void Fail(const std::string& what) {
    std::fprintf(stderr, "fuzz invariant broken: %s\n", what.c_str());
    std::abort();
}

// TMPDIR when set, otherwise /dev/shm when it exists, otherwise /tmp.
inline std::string ScratchRoot() {
    const char* tmp = std::getenv("TMPDIR");
    if (tmp != nullptr && *tmp != '\0') {
        return tmp;
    }
    struct stat status;
    if (::stat("/dev/shm", &status) == 0 && S_ISDIR(status.st_mode) &&
        ::access("/dev/shm", W_OK) == 0) {
        return "/dev/shm";
    }
    return "/tmp";
}

// A directory of its own for the process, removed with its contents when the
// process ends normally.
class ScratchDirectory {
  public:
    explicit ScratchDirectory(const std::string& prefix) {
        std::string pattern = ScratchRoot() + "/" + prefix + "-XXXXXX";
        if (::mkdtemp(pattern.data()) == nullptr) {
            Fail("cannot create a scratch directory under " + ScratchRoot());
        }
        m_path = pattern;
    }
    ~ScratchDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;

    const std::string& path() const { return m_path; }

  private:
    std::string m_path;
};

// Replaces the file's content by the given bytes.
inline void WriteFile(const std::string& path, const uint8_t* data, size_t size) {
    FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) {
        Fail("cannot write " + path);
    }
    const bool written = size == 0 || std::fwrite(data, 1, size, file) == size;
    if (std::fclose(file) != 0 || !written) {
        Fail("cannot write " + path);
    }
}

// Removes everything inside the directory, keeping the directory.
inline void EmptyDirectory(const std::string& path) {
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(path, error)) {
        std::filesystem::remove_all(entry.path(), error);
    }
}

// The descriptors the process holds on files, sockets and devices. Pipes are
// left out: the sanitizers' symbolizer talks to the process through pipes
// that it opens whenever it first names a function.
inline std::vector<int> OpenFileDescriptors() {
    std::vector<int> descriptors;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd", error)) {
        const std::string target = std::filesystem::read_symlink(entry.path(), error).string();
        if (!error && target.rfind("pipe:", 0) != 0) {
            descriptors.push_back(std::atoi(entry.path().filename().c_str()));
        }
    }
    return descriptors;
}

// What a descriptor is open on, for the report of a leak.
inline std::string DescriptorTarget(int descriptor) {
    std::error_code error;
    const auto target =
        std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor), error);
    return error ? std::string("(unknown)") : target.string();
}

}  // namespace fuzzSupport
