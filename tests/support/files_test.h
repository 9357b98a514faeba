// SPDX-License-Identifier: MIT
#pragma once

#include <gmock/gmock.h>

#include "support/acts.h"
#include "support/files.h"
#include "support/recorder.h"
#include "support/scenario.h"
#include "support/thrown.h"

namespace testing_support {

/** Tests of a class that takes a path, on files of their own. */
class FilesTest : public testing::Test {
protected:
    /** Records what is asked of the kernel for these files. */
    Recorder recorder() const { return Recorder().watch({directory_.path()}); }

    /** Runs this code in a child process and expects these acts, and that it throws this. */
    template <typename Code>
    static void expect_acts(const Recorder& recorder, Code code, const Acts& acts, const std::string& throws) {
        const ChildResult child = run_in_child(recorder, [&] { return thrown(code); });
        EXPECT_EQ(child.acts, acts);
        EXPECT_EQ(child.output, throws);
    }

    template <typename Code>
    void expect_acts(Code code, const Acts& acts, const std::string& throws = "nothing") const {
        expect_acts(recorder(), code, acts, throws);
    }

    TemporaryDirectory directory_;
};

}  // namespace testing_support
