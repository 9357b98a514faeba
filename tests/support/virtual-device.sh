# SPDX-License-Identifier: MIT
# shellcheck shell=bash
# Sourced by the scripts that run tests on the virtual device.

# skip_without_device VELMOR-SIM: end with 77, and say why, where this machine cannot have a virtual device.
skip_without_device() {
    local reason
    reason=$("$1" run -- true 2>&1) && return
    case $reason in
        *"/dev/fuse"* | *"namespace"* | *"FUSE may not"*)
            echo "skipped: $reason"
            exit 77
            ;;
    esac
}
