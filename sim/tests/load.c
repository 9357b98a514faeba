/* SPDX-License-Identifier: MIT */
/* Puts load on the device, which the tests cannot do from the shell. */
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

/* Reads the file again and again in that many processes, until they are killed. Prints a line after their start. */
static int busy(const char* path, int processes) {
    char text[16];
    for (int i = 1; i < processes && fork() != 0; i++) {
    }
    const int node = open(path, O_RDONLY | O_CLOEXEC);
    if (node < 0) return 1;
    if (write(STDOUT_FILENO, "busy\n", 5) != 5) return 2;
    while (pread(node, text, sizeof text, 0) >= 0) {
    }
    return 3;
}

int main(int count, char** words) {
    if (count == 4 && strcmp(words[1], "busy") == 0) return busy(words[2], atoi(words[3]));
    return 99;
}
