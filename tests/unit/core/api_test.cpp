// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <cerrno>

#include "support/null_calls.h"
#include "support/scenario.h"

using testing_support::fails_with;
using testing_support::NullCall;

namespace {

class NullPointer : public testing::TestWithParam<NullCall> {};

TEST_P(NullPointer, IsInvalid) {
    EXPECT_EQ(GetParam().call(), fails_with(EINVAL));
}

INSTANTIATE_TEST_SUITE_P(Functions, NullPointer, testing::ValuesIn(testing_support::null_calls()),
                         [](const auto& instance) { return instance.param.name(); });

}  // namespace
