# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2016,SC2317
# as-user.sh SIM ACT TEST [ARGUMENT...]: run another test as an ordinary user. If an ordinary user runs this, it just
# runs the test. Root becomes user 65534, with copies that this user can read, and a /dev/fuse in a private mount
# namespace that this user can open. The machine's /dev/fuse stays as it is.
set -eu
sim=$1 act=$2 test=$3
shift 3
here=$(cd "$(dirname "$0")" && pwd)
boards=$here/../boards
skip() {
    echo "skipped: $1"
    exit 77
}
[ "$(id -u)" = 0 ] || exec bash "$here/$test.sh" "$sim" "$act" "$@"
command -v setpriv >/dev/null || skip "no setpriv"
unshare -m true 2>/dev/null || skip "root may not make a mount namespace here, for a /dev/fuse of its own"
[ -c /dev/fuse ] || skip "no /dev/fuse"

place=$(mktemp -d)
trap 'rmdir "$place"' EXIT
unshare -m bash -eu -c '
    place=$1 sim=$2 act=$3 here=$4 boards=$5 test=$6
    shift 6
    mount -t tmpfs -o mode=755 velmor "$place"
    mknod -m 666 "$place/fuse" c 10 229
    mount --bind "$place/fuse" /dev/fuse
    mkdir -p "$place/bin" "$place/lib" "$place/share/velmor" "$place/home"
    cp "$sim" "$act"* "$place/bin"
    cp -r "$boards" "$place/share/velmor"
    cp -r "$here" "$place/tests"
    chmod -R a+rX "$place"
    chown -R 65534:65534 "$place/home"
    if [ "$test" = tour ]; then
        cp "$1" "$place/bin"
        cp "$2" "$place/lib/libvelmor.so.3"
        set -- "$place/bin/${1##*/}"
    elif [ "$test" = library ]; then
        cp -r "$(dirname "$sim")/../lib/velmor" "$place/lib"
        cp "$1" "$place/lib/libvelmor.so.3"
        set -- "$place/lib/libvelmor.so.3"
    elif [ "$test" = clients/watchdog ]; then
        cp "$1" "$place/bin" 2>/dev/null || true
        set -- "$place/bin/${1##*/}"
    fi
    cd "$place/home"
    exec setpriv --reuid 65534 --regid 65534 --clear-groups env -i \
        PATH=/usr/local/bin:/usr/bin:/bin:/usr/sbin:/sbin LANG=C.UTF-8 HOME="$place/home" TMPDIR="$place/home" \
        TERM="${TERM-dumb}" LD_LIBRARY_PATH="$place/lib" \
        bash "$place/tests/$test.sh" "$place/bin/${sim##*/}" "$place/bin/${act##*/}" "$@"
' _ "$place" "$sim" "$act" "$here" "$boards" "$test" "$@"
