/* SPDX-License-Identifier: MIT */
/* Prints what the functions of the families return that the device itself lacks. */
#include <stdio.h>
#include <velmor.h>

int main(void) {
    const led_color_t amber = {255, 191, 0};
    led_color_t color = {0, 0, 0};
    attitude_t attitude = {0, 0, 0};
    car_motion_t motion = {0, false};
    int rssi = 0;
    int result = mrfi_rssi_get(0, &rssi);

    printf("mrfi %d: %d\n", result, rssi);
    result = attitude_get(&attitude);
    printf("attitude %d: %d %d %d\n", result, (int)attitude.x, (int)attitude.y, (int)attitude.z);
    result = car_motion_get(&motion);
    printf("motion %d: %d\n", result, (int)motion.speed);
    result = led_color_set(0, &amber);
    led_color_get(0, &color);
    printf("led %d: %d %d %d\n", result, (int)color.red, (int)color.green, (int)color.blue);
    printf("antenna %d\n", wifi_antenna_set(1));
    return 0;
}
