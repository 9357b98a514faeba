/* SPDX-License-Identifier: MIT */
/* Reads both lists of the first MRFI interface to the end and prints their numbers of lines. For scripts/bench. */
#include <stdio.h>
#include <velmor.h>

int main(void) {
    mrfi_enum_ctx* list = NULL;
    mrfi_connection_t connection;
    mrfi_device_t device;
    long connections = 0;
    long devices = 0;

    if (mrfi_connection_list_open(0, &list) != 0) return 1;
    while (mrfi_connection_list_read(list, &connection) == 1) connections++;
    if (mrfi_connection_list_close(list) != 0) return 1;
    if (mrfi_device_list_open(0, &list) != 0) return 1;
    while (mrfi_device_list_read(list, &device) == 1) devices++;
    if (mrfi_device_list_close(list) != 0) return 1;
    printf("%ld %ld\n", connections, devices);
    return 0;
}
