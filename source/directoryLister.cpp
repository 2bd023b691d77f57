#include "directoryLister.h"

#include <strings.h>
#include <sys/stat.h>

#include <utility>

#include "fileTools.h"

DirectoryLister::DirectoryLister(const std::string& directory, const std::string& extension,
                                 bool reportOthers)
    : m_dir(opendir(directory.c_str())),
      m_directory(directory),
      m_extension(extension),
      m_reportOthers(reportOthers) {
    if (m_directory.empty() || m_directory.back() != '/') {
        m_directory += '/';
    }
}

DirectoryLister::~DirectoryLister() {
    Close();
}

DirectoryLister::DirectoryLister(DirectoryLister&& other) noexcept
    : m_dir(std::exchange(other.m_dir, nullptr)),
      m_directory(std::move(other.m_directory)),
      m_extension(std::move(other.m_extension)),
      m_reportOthers(other.m_reportOthers) {}

DirectoryLister& DirectoryLister::operator=(DirectoryLister&& other) noexcept {
    if (this != &other) {
        Close();
        m_dir = std::exchange(other.m_dir, nullptr);
        m_directory = std::move(other.m_directory);
        m_extension = std::move(other.m_extension);
        m_reportOthers = other.m_reportOthers;
    }
    return *this;
}

void DirectoryLister::Close() {
    // closedir is not retried: the stream is released whatever it reports.
    if (m_dir != nullptr) {
        closedir(m_dir);
        m_dir = nullptr;
    }
}

bool DirectoryLister::HasExtension(const std::string& name) const {
    if (name.size() < m_extension.size()) {
        return false;
    }
    return strcasecmp(name.c_str() + (name.size() - m_extension.size()), m_extension.c_str()) == 0;
}

bool DirectoryLister::Next(Entry& entry) {
    if (m_dir == nullptr) {
        return false;
    }
    while (const dirent* item = readdir(m_dir)) {
        const std::string name(item->d_name);
        if (name == "." || name == "..") {
            continue;
        }
        if (m_reportOthers) {
            // Nothing is followed: the entry's own type, asked of lstat where
            // the file system gives none.
            mode_t mode = DTTOIF(item->d_type);
            if (item->d_type == DT_UNKNOWN) {
                struct stat info;
                if (lstat((m_directory + name).c_str(), &info) != 0) {
                    continue;
                }
                mode = info.st_mode;
            }
            if (S_ISDIR(mode) || HasExtension(name)) {
                entry.name = name;
                entry.isDirectory = S_ISDIR(mode);
                entry.otherKind = entry.isDirectory ? "" : KindOf(mode);
                return true;
            }
            continue;
        }
        bool isDirectory = false;
        bool isFile = false;
        if (item->d_type == DT_DIR) {
            isDirectory = true;
        } else if (item->d_type == DT_REG) {
            isFile = true;
        } else if (item->d_type == DT_LNK || item->d_type == DT_UNKNOWN) {
            // A link counts as its target, and stat follows it; a dangling link
            // fails stat and is skipped. File systems that give no type are asked too.
            struct stat info;
            if (stat((m_directory + name).c_str(), &info) != 0) {
                continue;
            }
            isDirectory = S_ISDIR(info.st_mode);
            isFile = S_ISREG(info.st_mode);
        }
        if (isDirectory || (isFile && HasExtension(name))) {
            entry.name = name;
            entry.isDirectory = isDirectory;
            entry.otherKind.clear();
            return true;
        }
    }
    return false;
}

bool DirectoryLister::DirectoryExists(const std::string& path) {
    return FileTools::DirectoryExists(path);
}

const char* DirectoryLister::KindOf(mode_t mode) {
    switch (mode & S_IFMT) {
        case S_IFREG:
            return "";
        case S_IFDIR:
            return "directory";
        case S_IFLNK:
            return "symbolic link";
        case S_IFIFO:
            return "fifo";
        case S_IFSOCK:
            return "socket";
        case S_IFCHR:
            return "character device";
        case S_IFBLK:
            return "block device";
        default:
            return "unknown kind";
    }
}
