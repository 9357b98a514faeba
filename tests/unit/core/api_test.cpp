// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <cerrno>

#include "support/null_calls.h"
#include "support/scenario.h"

using namespace testing_support;

namespace {

TEST(NullPointer, IsInvalid) {
    for (const NullCall& null_call : null_calls()) EXPECT_EQ(null_call.call(), fails_with(EINVAL)) << null_call.name();
}

}  // namespace
