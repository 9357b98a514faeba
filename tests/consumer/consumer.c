/* SPDX-License-Identifier: MIT */
#include <stdio.h>
#include <velmor.h>

int main(void) {
    uint32_t level = 0;
    if (backlight_set(0, 128) != 0 || backlight_get(0, &level) != 0) return 1;
    printf("backlight: %u of 255\n", (unsigned)level);
    return level == 128 ? 0 : 1;
}
