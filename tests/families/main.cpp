// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include "families/table.h"

int main(int argc, char** argv) {
    testing::InitGoogleMock(&argc, argv);
    families::keep_table();
    return RUN_ALL_TESTS();
}
