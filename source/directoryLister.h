// Lists one directory's subdirectories and the regular files whose name ends in
// a given extension (compared without regard to case), in the order the system
// returns them. Symbolic links count as what they point to; dangling links,
// devices, pipes and sockets are skipped, unless the lister is asked to report
// them: then no link is followed, and every other entry with the extension is
// offered with what it is.
//   DirectoryLister lister("/var/audit", ".log");
//   DirectoryLister::Entry entry;
//   while (lister.Next(entry)) if (!entry.isDirectory) load(entry.name);
#pragma once

#include <dirent.h>
#include <sys/types.h>

#include <string>

class DirectoryLister {
  public:
    struct Entry {
        // The entry's name within the directory, without any path.
        std::string name;
        bool isDirectory = false;
        // Empty for a directory or a regular file; otherwise what the entry is,
        // not following links: "symbolic link", "fifo", "socket",
        // "character device", "block device".
        std::string otherKind;
    };

    // Opens the directory; IsOpen() tells whether that worked. An empty
    // extension lets every regular file through. With `reportOthers`, entries
    // whose name has the extension and that are neither directories nor
    // regular files (links not followed) are offered too, with otherKind set.
    DirectoryLister(const std::string& directory, const std::string& extension,
                    bool reportOthers = false);
    ~DirectoryLister();

    DirectoryLister(const DirectoryLister&) = delete;
    DirectoryLister& operator=(const DirectoryLister&) = delete;
    DirectoryLister(DirectoryLister&& other) noexcept;
    DirectoryLister& operator=(DirectoryLister&& other) noexcept;

    bool IsOpen() const { return m_dir != nullptr; }

    // Fills entry with the next directory or matching file; false at the end,
    // on a read error, or when the directory could not be opened.
    bool Next(Entry& entry);

    // Releases the directory early; Next then returns false.
    void Close();

    // FileTools::DirectoryExists, for the callers that list directories.
    static bool DirectoryExists(const std::string& path);
    // What a file of this mode is, in words: "" for a regular file, else
    // "directory", "symbolic link", "fifo", "socket", "character device",
    // "block device" or "unknown kind".
    static const char* KindOf(mode_t mode);

  private:
    bool HasExtension(const std::string& name) const;

    DIR* m_dir = nullptr;
    // Ends in "/", so that an entry's full path is m_directory + name.
    std::string m_directory;
    std::string m_extension;
    bool m_reportOthers = false;
};
