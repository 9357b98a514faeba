// SPDX-License-Identifier: MIT
#pragma once

#include <gmock/gmock.h>
#include <string>
#include <type_traits>

#include "support/acts.h"
#include "support/files.h"
#include "support/recorder.h"
#include "support/scenario.h"
#include "support/thrown.h"

namespace testing_support {

/** Tests of a class that takes a path, on files of their own. */
class FilesTest : public testing::Test {
protected:
    /** Records the system calls on these files. */
    Recorder recorder() const { return Recorder().watch({directory_.path()}); }

    /**
     * Runs this code in a child process and expects these acts and this result: the text or number that the code
     * returns, or what it throws if it returns nothing.
     */
    template <typename Code>
    static void expect_acts(const Recorder& recorder, Code code, const Acts& acts,
                            const std::string& result = "nothing") {
        const ChildResult child = run_in_child(recorder, [&]() -> std::string {
            using Result = std::invoke_result_t<Code>;
            if constexpr (std::is_void_v<Result>)
                return thrown(code);
            else if constexpr (std::is_integral_v<Result>)
                return std::to_string(static_cast<long>(code()));
            else
                return code();
        });
        EXPECT_EQ(child.acts, acts);
        EXPECT_EQ(child.output, result);
    }

    template <typename Code>
    void expect_acts(Code code, const Acts& acts, const std::string& result = "nothing") const {
        expect_acts(recorder(), code, acts, result);
    }

    TemporaryDirectory directory_;
};

/** Tests with one file, which is missing at first, and the acts on it. */
class OneFileTest : public FilesTest {
protected:
    const std::string path_ = directory_ / "file";
    const std::string open_to_read_ = "open " + path_ + " r";
    const std::string open_to_write_ = "open " + path_ + " w";
    const std::string read_ = "read " + path_;
    const std::string write_ = "write " + path_;
    const std::string close_ = "close " + path_;
};

/** Tests that record system calls: they are skipped where that is not possible. */
template <typename Tests>
class Recorded : public Tests {
protected:
    void SetUp() override { VELMOR_NEEDS_RECORDER(); }
};

}  // namespace testing_support
