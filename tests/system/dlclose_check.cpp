// SPDX-License-Identifier: MIT
// usage: dlclose_check LIBRARY, on the virtual device
// A plug-in that uses the library is loaded and unloaded again and again. The library stays loaded, the watchdog that
// it has armed can still be fed, and no memory is lost.
#include <dlfcn.h>
#include <malloc.h>
#include <cstddef>
#include <cstdio>

namespace {

int failures = 0;

void expect(bool good, const char* what) {
    if (good) return;
    std::printf("not true: %s\n", what);
    ++failures;
}

/** Load the library, make one call and unload the library. */
template <typename Function, typename... Arguments>
int call(const char* library, const char* name, Arguments... arguments) {
    void* const handle = dlopen(library, RTLD_NOW);
    if (handle == nullptr) {
        std::printf("%s\n", dlerror());
        return 1000;
    }
    const int result = reinterpret_cast<Function>(dlsym(handle, name))(arguments...);
    dlclose(handle);
    return result;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: dlclose_check LIBRARY\n", stderr);
        return 2;
    }
    const char* const library = argv[1];
    expect(call<int (*)(int)>(library, "watchdog_enable", 30) == 0, "the watchdog is armed");
    expect(call<int (*)()>(library, "watchdog_refresh") == 0, "the library feeds it after it was loaded again");
    expect(call<int (*)()>(library, "watchdog_disable") == 0, "and disarms it");

    bool present = false;
    const std::size_t before = mallinfo2().uordblks;
    int succeeded = 0;
    for (int i = 0; i < 100; ++i) succeeded += call<int (*)(bool*)>(library, "es_present", &present) == 0 ? 1 : 0;
    expect(succeeded == 100, "every call succeeds");
    const std::size_t after = mallinfo2().uordblks;
    expect(after == before, "no memory is lost");
    if (failures == 0) std::puts("loaded and unloaded 103 times");
    return failures == 0 ? 0 : 1;
}
