# SPDX-License-Identifier: MIT
# shellcheck shell=bash
# Sourced by the other scripts in this folder.

# Packages that the scripts install if they are missing. Everything comes from Debian.
# shellcheck disable=SC2034 # used by the scripts that source this file
{
    packages_build=(g++ cmake make ninja-build)
    packages_sim=(libfuse3-dev libcli11-dev nlohmann-json3-dev pkgconf)
    packages_tools=(libcli11-dev nlohmann-json3-dev)
    packages_armhf=(g++-arm-linux-gnueabihf qemu-user)
    packages_board=(qemu-system-arm device-tree-compiler cpio kmod)
    packages_test=(clang clang-format clang-tidy libclang-rt-14-dev libgmock-dev libgtest-dev googletest pkg-config
        shellcheck binutils git gdb strace gcc-i686-linux-gnu libc6-dev-i386-cross python3 python3-jsonschema valgrind
        man-db mandoc uidmap)
    packages_clients=(acpi brightnessctl busybox evtest inotify-tools lsof psmisc python3-evdev python3-pyudev
        python3-serial udev util-linux)
    packages_i686=(g++-i686-linux-gnu)
    packages_package=(debhelper dpkg-dev lintian)
    packages_measure=(strace valgrind)
    packages_bench=(libbenchmark-dev libsensors-dev libiio-dev libsystemd-dev gnuplot-nox python3 binutils)
}

# options ALLOWED ARGUMENT...: accept one of the ALLOWED options (separated by blanks), none, or --help, which prints
# the script's usage; exit with 2 for anything else.
options() {
    local allowed=$1 option
    shift
    [ $# -gt 0 ] || return 0
    if [ $# -eq 1 ]; then
        for option in $allowed; do
            [ "$1" != "$option" ] || return 0
        done
        [ "$1" != --help ] || { usage && exit 0; }
    fi
    echo "$0: wrong arguments: $*; see --help" >&2
    exit 2
}

# need PACKAGE...: install those that are missing, and list them; return 2 if they cannot be installed.
need() {
    local missing=() package as_root=()
    for package in "$@"; do
        [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || missing+=("$package")
    done
    [ ${#missing[@]} -gt 0 ] || return 0
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null || {
            echo "Packages are missing, and no sudo to install them. As root: apt-get install ${missing[*]}" >&2
            return 2
        }
        as_root=(sudo)
    fi
    echo "Installing Debian packages: ${missing[*]}"
    "${as_root[@]}" apt-get update -qq || return 2
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends "${missing[@]}" \
        </dev/null | fetched || return 2
}

# fetch_watchdog: unpack Debian's watchdog daemon into build/clients. Its package is not installed, because that would
# start the daemon.
fetch_watchdog() {
    [ ! -x build/clients/usr/sbin/watchdog ] || return 0
    echo "Fetching the Debian package: watchdog"
    mkdir -p build/clients && (cd build/clients && apt-get download -qq watchdog && dpkg-deb -x watchdog_*.deb .) || return 2
}

# fetched: of the output of apt-get -q, print the packages that it fetches and sets up; on a terminal in one line.
fetched() {
    local words line
    while read -r -a words; do
        case ${words[0]-} in
            # Get:1 URL SUITE ARCH NAME ARCH VERSION [SIZE kB]
            Get:*) line="  fetching ${words[4]-} ${words[7]-} ${words[8]-}" ;;
            Setting) line="  setting up ${words[2]-}" ;;
            *) continue ;;
        esac
        if [ -t 1 ]; then printf '\e[K%.79s\r' "$line"; else echo "$line"; fi
    done
    [ ! -t 1 ] || printf '\e[K'
}

# stage WHAT: print a heading.
stage() { printf '\n==== %s (%s min so far)\n' "$1" $((SECONDS / 60)); }

# build PRESET [TARGET...]: configure and compile. The tests and the virtual device are compiled several files at a time,
# which takes half as long; the library's files are compiled one by one.
build() {
    local preset=$1 target targets=()
    shift
    for target in "$@"; do targets+=(--target "$target"); done
    cmake --preset "$preset" -DCMAKE_UNITY_BUILD=ON -Wno-dev --log-level=WARNING >/dev/null || return
    cmake --build --preset "$preset" "${targets[@]}" -- --quiet
}

# run_tests PRESET: build it and run its tests; their output is kept in build/PRESET/ctest.log. Names the slow tests.
run_tests() {
    local status=0
    build "$1" || return
    # Most tests wait more than they compute.
    ctest --test-dir "build/$1" --output-on-failure --no-tests=error --parallel $((2 * $(nproc))) | tee "build/$1/ctest.log" || status=1
    slow_tests "$1"
    return $status
}

# slow_tests PRESET: print the tests that took more than 30 s in run_tests, the slowest first. CTestCostData.txt is not
# used because it has the average of all runs.
slow_tests() {
    local slow
    # 4/19 Test  #5: NAME .....   Passed   40.41 sec
    slow=$(awk '/^ *[0-9]+\/[0-9]+ Test +#[0-9]+: .* sec *$/ && $(NF - 1) > 30 {
        sub(/^[^:]*: /, "")
        printf "  %.0f s  %s\n", $(NF - 1), $1
    }' "build/$1/ctest.log" | sort -rn)
    [ -z "$slow" ] || printf 'tests that took more than 30 s:\n%s\n' "$slow"
}

# nothing_skipped PRESET: fail with a message if run_tests has skipped something: whole programs, as ctest reports, or
# single tests, as their programs report.
nothing_skipped() {
    local skips status=0
    skips=$(grep -ahE '\*\*\*Skipped|^\[  SKIPPED \] [^0-9]|^left out: ' \
        "build/$1/ctest.log" "build/$1/Testing/Temporary/LastTest.log") || status=$?
    [ $status -ne 1 ] || return 0 # 1: none; 2: a log is missing
    sort -u <<<"$skips" >&2
    echo "the tests above were skipped; on this machine every test of the build $1 must run" >&2
    return 1
}

# compile DIRECTORY TARGET...: build, with the progress on standard error.
compile() {
    local directory=$1 target targets=()
    shift
    for target in "$@"; do targets+=(--target "$target"); done
    NINJA_STATUS='  [%f/%t] ' cmake --build "$directory" "${targets[@]}" >&2 && return
    echo "$0: the build has failed, at the step above" >&2
    return 1
}

# build_product TARGET...: build as for a release, without the tests and what they need.
build_product() {
    cmake --preset release -B build/product -DVELMOR_TESTS=OFF -DVELMOR_SIM=ON -DVELMOR_EXAMPLES=ON \
        -DVELMOR_BENCH=ON -Wno-dev --log-level=WARNING >/dev/null
    compile build/product "$@"
}
