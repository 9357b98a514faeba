// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <cerrno>

#include "support/null_calls.h"

using testing_support::NullCall;

namespace {

class NullPointer : public testing::TestWithParam<NullCall> {};

TEST_P(NullPointer, IsInvalid) {
    errno = 0;
    EXPECT_EQ(GetParam().call(), -EINVAL);
    EXPECT_EQ(errno, EINVAL);
}

INSTANTIATE_TEST_SUITE_P(Functions, NullPointer, testing::ValuesIn(testing_support::null_calls()),
                         [](const auto& instance) { return instance.param.name(); });

}  // namespace
