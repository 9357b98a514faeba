// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <cstdio>
#include <filesystem>

#include "families/table.h"
#include "support/files.h"

int main(int argc, char** argv) {
    testing::InitGoogleMock(&argc, argv);
    // HAZARD: the tests suspend, restart and power off what they run on.
    if (!testing_support::in_namespaces_of_its_own() || !std::filesystem::exists("/sys/class/mrfi/mrfi0")) {
        std::fputs("These tests run on a virtual device: start them through tests/families/run.\n", stderr);
        return 2;
    }
    families::keep_table();
    return RUN_ALL_TESTS();
}
