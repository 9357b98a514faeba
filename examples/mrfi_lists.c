/* SPDX-License-Identifier: MIT */
/*
 * Lists the connections of a short-range radio interface and the devices that it has seen.
 *
 *   mrfi_lists [INTERFACE]     by default interface 0
 *
 * Exit status: 0 on success; 1 if the board has no such interface or a call failed; 2 for wrong usage.
 */
#include <stdio.h>
#include <stdlib.h>
#include <velmor.h>

static unsigned long number(const mrfi_addr_t* address) {
    return address->byte[0] | (unsigned long)address->byte[1] << 8 | (unsigned long)address->byte[2] << 16 |
           (unsigned long)address->byte[3] << 24;
}

static int list_connections(int interface) {
    mrfi_enum_ctx* list = NULL;
    mrfi_connection_t connection;
    int result = mrfi_connection_list_open(interface, &list);

    if (result < 0) return result;
    printf("connections of interface %d\n", interface);
    while ((result = mrfi_connection_list_read(list, &connection)) == 1) {
        printf("  %08lx  values %u %u %u  flags %u %u\n", number(&connection.address), connection.value1,
               connection.value2, connection.value3, connection.flag1, connection.flag2);
    }
    mrfi_connection_list_close(list);
    return result;
}

static int list_devices(int interface) {
    mrfi_enum_ctx* list = NULL;
    mrfi_device_t device;
    uint32_t device_class = 0;
    int result = mrfi_device_list_open(interface, &list);

    if (result < 0) return result;
    printf("devices seen by interface %d\n", interface);
    while ((result = mrfi_device_list_read(list, &device)) == 1) {
        mrfi_class_get(&device.address, &device_class);
        printf("  %08lx  class %04x  values %lu %lu  %s\n", number(&device.address), (unsigned)device_class,
               (unsigned long)device.value1, (unsigned long)device.value2, device.name[0] ? device.name : "(no name)");
    }
    mrfi_device_list_close(list);
    return result;
}

int main(int argc, char** argv) {
    char* end = NULL;
    long interface = argc == 2 ? strtol(argv[1], &end, 10) : 0;

    if (argc > 2 || (end != NULL && (end == argv[1] || *end != '\0')) || interface < 0 || interface > 1) {
        fprintf(stderr, "usage: mrfi_lists [INTERFACE]   with INTERFACE 0 or 1\n");
        return 2;
    }
    if (list_connections((int)interface) < 0) return 1;
    if (list_devices((int)interface) < 0) return 1;
    return 0;
}
