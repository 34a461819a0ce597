// moxley-bench-run RESULT PROGRAM [ARGS...]: runs PROGRAM and writes "start end peak status cpu"
// to RESULT (CLOCK_MONOTONIC nanoseconds, ru_maxrss in KiB, exit code or 128 + signal, user +
// system CPU time in microseconds).
// A child's ru_maxrss includes the memory of the process it was spawned from, so the benchmark
// driver (tens of MiB) starts every measured program through this small one instead.
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

static long long monotonicNs()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (long long)now.tv_sec * 1000000000LL + now.tv_nsec;
}

int main(int argc, char **argv)
{
    if (argc < 3) {
        std::fprintf(stderr, "usage: moxley-bench-run RESULT PROGRAM [ARGS...]\n");
        return 2;
    }
    const long long start = monotonicNs();
    const pid_t pid = fork();
    if (pid < 0) {
        return 126;
    }
    if (pid == 0) {
        execv(argv[2], argv + 2);
        std::fprintf(stderr, "moxley-bench-run: cannot start %s\n", argv[2]);
        _exit(127);
    }
    int status = 0;
    rusage usage{};
    while (wait4(pid, &status, 0, &usage) < 0 && errno == EINTR) {
    }
    const long long end = monotonicNs();
    const int code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    if (FILE *out = std::fopen(argv[1], "w")) {
        const long long cpu = (long long)(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1000000LL +
                              usage.ru_utime.tv_usec + usage.ru_stime.tv_usec;
        std::fprintf(out, "%lld %lld %ld %d %lld\n", start, end, usage.ru_maxrss, code, cpu);
        std::fclose(out);
    }
    return code;
}
