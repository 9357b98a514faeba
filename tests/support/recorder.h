// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace testing_support {

/** What came of a piece of code. */
struct Outcome {
    int result = 0;                 // what it returned
    int error = 0;                  // errno afterwards; it was 0 before
    std::string error_text;         // all that it wrote to standard error
    std::vector<std::string> acts;  // on the kernel, in order; see Recorder
    int wait_status = 0;            // of its process, as waitpid() reports it
};

/**
 * Runs a piece of code in a child process and records, in order, what it does to the files below the watched paths; the
 * processes that it starts are recorded too. An act can be made to fail, or to return something, without the kernel.
 * Works on x86 only, of 64 and 32 bits (see available()).
 *
 * An act reads "open PATH r", "open PATH w", "open PATH rw", "read PATH", "write PATH <bytes>",
 * "ioctl PATH 0x<request>", "close PATH", "exec PATH", "sync" or "reboot 0x<command> <text>". One that fails ends with
 * its errno: " = ENOENT".
 *
 * HAZARD: the restart call never reaches the kernel. It fails with EPERM unless the test sets a result. A program of
 * the other word size is not recorded, and is killed if it makes that call.
 */
class Recorder {
public:
    /** False on every other processor, emulated ones included. */
    static bool available();

    /** Watch these paths, instead of the device's: /sys/ /proc/platform/ /etc/fs_version /dev/ /sbin/. */
    Recorder& watch(std::vector<std::string> prefixes);

    /** The nth such act, counted from 1, fails with this errno and does not reach the kernel; with 0, all of them do.
     */
    Recorder& fail(const std::string& act, int error, int nth = 1);
    /** The same, but the act succeeds with this result. */
    Recorder& answer(const std::string& act, long result, int nth = 0);

    /** Acts are matched without their bytes: "write PATH", "open PATH r", "ioctl PATH 0x80045705", "reboot". */
    Outcome run(const std::function<int()>& code) const;

private:
    struct Intervention {
        long result;
        int nth;
    };

    std::vector<std::string> prefixes_ = {"/sys/", "/proc/platform/", "/etc/fs_version", "/dev/", "/sbin/"};
    std::map<std::string, std::vector<Intervention>> interventions_;

    friend class Tracer;
};

/** Begins a test of acts. They do not depend on the processor, and x86 builds always run these tests. */
#define VELMOR_NEEDS_RECORDER()                   \
    if (testing_support::Recorder::available()) { \
    } else                                        \
        GTEST_SKIP() << "system calls are recorded on x86 only: run this test in a native build there"

/** The same without a record, on every processor. */
Outcome run_unrecorded(const std::function<int()>& code);

}  // namespace testing_support
