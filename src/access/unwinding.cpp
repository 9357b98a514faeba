// SPDX-License-Identifier: MIT

// For ARM. There an exception must leave a clean-up through __cxa_end_cleanup(), which undoes what the C++ personality
// routine recorded on entering it. When g++ optimises at link time it ends the clean-ups of C++ code as it does those
// of C, with _Unwind_Resume(). The record stays, and the next cancellation of that thread ends the process: it meets a
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
