// SPDX-License-Identifier: MIT
// usage: first_line_check, on the virtual device
// In a process that has no standard streams yet, the first calls of several threads fail at once: each prints its line.
#include <sys/wait.h>
#include <unistd.h>
#include <velmor.h>
#include <barrier>
#include <cstdint>
#include <cstdio>
#include <string>
#include <thread>

namespace {

constexpr int threads = 8;
constexpr int rounds = 50;

void fail_at_once() {
    std::barrier start(threads);
    std::thread callers[threads];
    for (std::thread& caller : callers) {
        caller = std::thread([&start] {
            std::uint32_t level = 0;
            start.arrive_and_wait();
            backlight_get(99, &level);
        });
    }
    for (std::thread& caller : callers) caller.join();
}

/** What a process prints in which the threads' calls fail. */
std::string lines_of_a_process() {
    int ends[2];
    if (pipe(ends) != 0) return "no pipe";
    const pid_t child = fork();
    if (child == 0) {
        dup2(ends[1], STDERR_FILENO);
        fail_at_once();
        _exit(0);
    }
    close(ends[1]);
    std::string lines;
    char piece[1024];
    for (ssize_t length = 0; (length = read(ends[0], piece, sizeof piece)) > 0;)
        lines.append(piece, static_cast<std::size_t>(length));
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    return lines + (WIFEXITED(status) ? "" : "and was killed\n");
}

}  // namespace

int main() {
    std::string expected;
    for (int i = 0; i < threads; ++i) expected += "backlight_get failed: Operation not supported\n";
    for (int round = 1; round <= rounds; ++round) {
        const std::string lines = lines_of_a_process();
        if (lines == expected) continue;
        std::printf("round %d: %d threads printed\n%s", round, threads, lines.c_str());
        return 1;
    }
    std::printf("%d processes printed %d lines each\n", rounds, threads);
    return 0;
}
