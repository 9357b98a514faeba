// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace testing_support {

/** What a recorded piece of code came to. */
struct Outcome {
    int result = 0;                 // what it returned
    int error = 0;                  // errno afterwards (it was 0 before)
    std::string error_text;         // all that it wrote to standard error
    std::vector<std::string> acts;  // what it did through the kernel, in order; see Recorder
    int wait_status = 0;            // how its process ended, as waitpid() reports it
};

/**
 * Runs a piece of code in a child process of its own and records, in order, what reaches the kernel: every act on a
 * file below the watched paths, of the child and of what it starts. Acts can be made to fail, or be given a
 * result without the kernel. x86 only, of 64 and of 32 bits (see available()).
 *
 * An act reads "open PATH r", "open PATH w", "open PATH rw" (followed by " = ENOENT" or the like where it failed, as
 * every act), "read PATH", "write PATH <bytes>", "ioctl PATH 0x<request>", "close PATH", "exec PATH", "sync" and
 * "reboot 0x<command> <text>". HAZARD: the restart call never reaches the kernel; it fails with EPERM unless the
 * test gives a result of its own. A program of the other word size that is started is not recorded, and killed if it
 * makes that call.
 */
class Recorder {
public:
    /** False where the machine cannot record (not x86, emulated ARM among it). */
    static bool available();

    /** Watch the files below these, in place of the device's: /sys/ /proc/platform/ /etc/fs_version /dev/ /sbin/. */
    Recorder& watch(std::vector<std::string> prefixes);

    /** The nth such act (1 is the first, 0 every one) fails with this errno and does not reach the kernel. */
    Recorder& fail(const std::string& act, int error, int nth = 1);
    /** The same, but it succeeds with this result. */
    Recorder& answer(const std::string& act, long result, int nth = 0);

    /** Run it. Acts are matched without their bytes: "write PATH", "open PATH r", "ioctl PATH 0x80045705", "reboot". */
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

/** Begins a test of recorded acts. The acts do not depend on the processor: they are asserted on x86, in CI always.
 */
#define VELMOR_NEEDS_RECORDER()                   \
    if (testing_support::Recorder::available()) { \
    } else                                        \
        GTEST_SKIP() << "system calls are recorded on x86 only: run this test in a native build there"

/** The same without recording, where only result, errno and standard error matter. Works everywhere. */
Outcome run_unrecorded(const std::function<int()>& code);

}  // namespace testing_support
