// SPDX-License-Identifier: MIT

// For ARM, where an exception must leave a clean-up through __cxa_end_cleanup(), which undoes what the C++ personality
// routine recorded on entry. With link-time optimisation, g++ ends the clean-ups of C++ code like those of C, with
// _Unwind_Resume(). The record then stays, and the thread's next cancellation ends the process, because it finds a
// record that is not its own. So the linker redirects both C symbols to these functions (--wrap), which jump to their
// C++ counterparts. Each is a single branch because the unwinder continues from its caller's stack and registers.

extern "C" {

[[gnu::naked]] void __wrap__Unwind_Resume();
[[gnu::naked]] void __wrap___gcc_personality_v0();

void __wrap__Unwind_Resume() {
    asm("b __cxa_end_cleanup(PLT)");
}

void __wrap___gcc_personality_v0() {
    asm("b __gxx_personality_v0(PLT)");
}

}  // extern "C"
