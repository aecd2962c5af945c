#!/usr/bin/env bash
# Starts the program against a simulated kit, after installing any missing build
# dependency and building just the programs it starts (./test.sh builds the rest).
set -euo pipefail
source "$(dirname "$0")/scripts/setup.sh"

# --help and --version need no display; anything else does, so say so before the build.
needs_display=1
for arg in "$@"; do
    case "$arg" in --help | -h | --version | -v) needs_display=0 ;; esac
done
if [ "$needs_display" = 1 ] && [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ] &&
    [ -z "${QT_QPA_PLATFORM:-}" ]; then
    echo "run.sh: no display is available (DISPLAY and WAYLAND_DISPLAY are unset)." >&2
    echo "Start it from a desktop session, or under Xvfb: xvfb-run -s \"-noreset\" ./run.sh" >&2
    echo "(-noreset keeps the X server up across the program's restarts.)" >&2
    exit 1
fi

ktr_install_missing
# The demo, and the controller beside it for use with a real kit.
ktr_targets=(ktr4207-kit-demo ktr4207-kit-controller)
ktr_build

exec "$KTR_BUILD/ktr4207-kit-demo" "$@"
