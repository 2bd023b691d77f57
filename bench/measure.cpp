// measure: runs one command and reports its wall time and peak resident memory,
// so that the benchmark needs nothing beyond a C++ compiler.
//   measure OUTFILE command [arguments...]
// OUTFILE receives one line "WALL_SECONDS PEAK_KB EXIT_STATUS CPU_SECONDS"
// (CPU is user plus system time of the command and its children); the
// command's own standard input, output and error are left as they are.
#include <sys/resource.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: measure OUTFILE command [arguments...]\n");
        return 2;
    }
    auto started = std::chrono::steady_clock::now();
    pid_t child = fork();
    if (child < 0) {
        std::fprintf(stderr, "measure: fork: %s\n", std::strerror(errno));
        return 2;
    }
    if (child == 0) {
        execvp(argv[2], argv + 2);
        std::fprintf(stderr, "measure: %s: %s\n", argv[2], std::strerror(errno));
        _exit(127);
    }
    int status = 0;
    struct rusage usage {};
    // wait4 gives the child's own peak, not the largest of all our children.
    while (wait4(child, &status, 0, &usage) < 0) {
        if (errno != EINTR) {
            std::fprintf(stderr, "measure: wait4: %s\n", std::strerror(errno));
            return 2;
        }
    }
    std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - started;
    int exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    std::FILE* out = std::fopen(argv[1], "w");
    if (out == nullptr) {
        std::fprintf(stderr, "measure: %s: %s\n", argv[1], std::strerror(errno));
        return 2;
    }
    double cpu = static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
                 static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
    std::fprintf(out, "%.3f %ld %d %.3f\n", elapsed.count(), usage.ru_maxrss, exitStatus, cpu);
    std::fclose(out);
    return exitStatus;
}
