// Runs a program as a user would and collects what it printed and its exit
// status, for end-to-end tests.
//   ProcessResult result = RunProcess({AFP_PROGRAM, "-dbname", "x"});
//   EXPECT_EQ(result.exitStatus, 0);
//   EXPECT_NE(result.out.find("AFP-0015:"), std::string::npos);
#pragma once

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <utility>
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

// Runs arguments[0] with the arguments, standard input from /dev/null. Each
// entry of `environment` ("NAME=value", or "NAME" to remove it) changes the
// child's environment only. `workingDirectory` is used when not empty.
inline ProcessResult RunProcess(const std::vector<std::string>& arguments,
                                const std::vector<std::string>& environment = {},
                                const std::string& workingDirectory = "") {
    char outPath[] = "/tmp/afp-out-XXXXXX";
    char errPath[] = "/tmp/afp-err-XXXXXX";
    const int outFile = ::mkstemp(outPath);
    const int errFile = ::mkstemp(errPath);
    ProcessResult result;
    if (outFile < 0 || errFile < 0 || arguments.empty()) {
        return result;
    }
    std::fflush(nullptr);
    const pid_t child = ::fork();
    if (child == 0) {
        const int input = ::open("/dev/null", O_RDONLY);
        ::dup2(input, 0);
        ::dup2(outFile, 1);
        ::dup2(errFile, 2);
        for (const std::string& change : environment) {
            const size_t equals = change.find('=');
            if (equals == std::string::npos) {
                ::unsetenv(change.c_str());
            } else {
                ::setenv(change.substr(0, equals).c_str(), change.substr(equals + 1).c_str(), 1);
            }
        }
        if (!workingDirectory.empty() && ::chdir(workingDirectory.c_str()) != 0) {
            ::_exit(126);
        }
        std::vector<char*> argv;
        for (const std::string& argument : arguments) {
            argv.push_back(const_cast<char*>(argument.c_str()));
        }
        argv.push_back(nullptr);
        ::execvp(argv[0], argv.data());
        ::_exit(127);
    }
    int status = 0;
    while (child > 0 && ::waitpid(child, &status, 0) < 0) {
    }
    if (WIFEXITED(status)) {
        result.exitStatus = WEXITSTATUS(status);
    } else if (WIFSIGNALED(status)) {
        result.exitStatus = 128 + WTERMSIG(status);
    }
    ::close(outFile);
    ::close(errFile);
    result.out = processRunnerDetail::ReadFile(outPath);
    result.err = processRunnerDetail::ReadFile(errPath);
    std::remove(outPath);
    std::remove(errPath);
    return result;
}
