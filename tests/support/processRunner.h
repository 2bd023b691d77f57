// Runs a program as a user would and collects what it printed and its exit
// status, for end-to-end tests.
//   ProcessResult result = RunProcess({AFP_PROGRAM, "-dbname", "x"});
//   EXPECT_NE(result.out.find("AFP-0015:"), std::string::npos);
#pragma once

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

struct ProcessResult {
    int exitStatus = -1;  // the exit code, or 128 + the signal that ended it
    std::string out;
    std::string err;
};

namespace processRunnerDetail {

inline std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream content;
    content << in.rdbuf();
    return content.str();
}

}  // namespace processRunnerDetail

// Runs arguments[0], searched on PATH, with standard input from /dev/null.
// Run "env" first to change the child's environment.
inline ProcessResult RunProcess(const std::vector<std::string>& arguments) {
    char outPath[] = "/tmp/afp-out-XXXXXX";
    char errPath[] = "/tmp/afp-err-XXXXXX";
    const int outFile = ::mkstemp(outPath);
    const int errFile = ::mkstemp(errPath);
    ProcessResult result;
    std::fflush(nullptr);
    const pid_t child = outFile < 0 || errFile < 0 || arguments.empty() ? -1 : ::fork();
    if (child == 0) {
        ::dup2(::open("/dev/null", O_RDONLY), 0);
        ::dup2(outFile, 1);
        ::dup2(errFile, 2);
        std::vector<char*> argv;
        for (const std::string& argument : arguments) {
            argv.push_back(const_cast<char*>(argument.c_str()));
        }
        argv.push_back(nullptr);
        ::execvp(argv[0], argv.data());
        ::_exit(127);
    }
    int status = 0;
    while (child > 0 && ::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (child > 0) {
        result.exitStatus = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
    }
    for (const int file : {outFile, errFile}) {
        ::close(file);
    }
    result.out = processRunnerDetail::ReadFile(outPath);
    result.err = processRunnerDetail::ReadFile(errPath);
    std::remove(outPath);
    std::remove(errPath);
    return result;
}
