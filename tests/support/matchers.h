// SPDX-License-Identifier: MIT
#pragma once

#include <gmock/gmock.h>
#include <initializer_list>
#include <ostream>
#include <string>

#include "support/scenario.h"

namespace testing_support {

inline void PrintTo(const ChildResult& child, std::ostream* out) {
    *out << '"' << child.output << "\", printed \"" << child.error_text << "\", wait status " << child.wait_status;
}

/** Matches a scenario that ran to its end, returned this text and printed exactly this to standard error. */
inline testing::Matcher<const ChildResult&> returns(const std::string& output, const std::string& error_text = "") {
    using testing::Field;
    return testing::AllOf(Field("output", &ChildResult::output, output),
                          Field("error_text", &ChildResult::error_text, error_text),
                          Field("wait_status", &ChildResult::wait_status, 0));
}

/** Matches several calls made in_turn(). */
inline testing::Matcher<const ChildResult&> returns(std::initializer_list<CallResult> results,
                                                    const std::string& error_text = "") {
    std::string output;
    for (const CallResult& result : results) output = joined({output, result});
    return returns(output, error_text);
}

}  // namespace testing_support
