// Reads the database password from a file ("-passfile"), so that it never
// shows in the process list. The file must be private to its owner.
//   std::string password;
//   if (!PasswordFile::Read("/etc/audit/db.pass", password)) { /* AFP-0059 or AFP-0060 shown */ }
#pragma once

#include <string>

class PasswordFile {
  public:
    // The first line of the file, without its line end. False, after message
    // 59 (cannot be read, or no password in it) or 60 (group or others may
    // read it), when the file cannot serve.
    static bool Read(const std::string& path, std::string& password);

    // Longest first line taken: a password file is never large.
    static constexpr size_t kMaxSize = 4096;
};
