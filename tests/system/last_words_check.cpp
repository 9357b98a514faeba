// SPDX-License-Identifier: MIT
// usage: last_words_check, on the virtual device
// What an application leaves in std::cout is written at exit, even if a failure line has been printed.
#include <sys/wait.h>
#include <unistd.h>
#include <velmor.h>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>

int main() {
    int ends[2];
    if (pipe(ends) != 0) return 2;
    if (fork() == 0) {
        dup2(ends[1], STDOUT_FILENO);
        std::cout.sync_with_stdio(false);
        std::cout << "last";
        std::uint32_t level = 0;
        backlight_get(99, &level);
        std::cout << " words";
        std::exit(0);
    }
    close(ends[1]);
    wait(nullptr);
    char text[20] = "";
    const ssize_t length = read(ends[0], text, sizeof text - 1);
    std::printf("read %d bytes: \"%s\"\n", static_cast<int>(length), text);
    return length == 10 ? 0 : 1;
}
