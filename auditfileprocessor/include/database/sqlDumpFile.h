// The SQL dump ("-df"): the stream g_SQLDumpFile with every write, flush and
// close checked. The first failure closes the dump and drops what was not
// written yet, so that the file stops at that point instead of going on after
// a hole; it is recorded among the failed outputs and reported once through
// the handler the program gave. Later writes do nothing.
//   SqlDumpFile::Start(stream, "/var/tmp/dump.sql", ShowDumpFailure);
//   SqlDumpFile::WriteStatement("COMMIT");
//   SqlDumpFile::Flush();  // at each transaction boundary
//   SqlDumpFile::Close();  // at the end of the run
#pragma once

#include <cstdio>
#include <string>

class SqlDumpFile {
  public:
    using FailureHandler = void (*)(const std::string& path, const std::string& reason);

    // Makes an open stream the dump.
    static void Start(FILE* stream, const std::string& path, FailureHandler onFailure);
    // Appends the text as it is.
    static void Write(const std::string& text);
    // A newline, then the statement: each statement begins a line of its own.
    static void WriteStatement(const std::string& statement);
    // Pushes the buffered statements out to the file.
    static void Flush();
    // Flushes and closes the dump; nothing happens when it is closed already.
    static void Close();
};
