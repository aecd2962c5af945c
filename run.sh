#!/usr/bin/env bash
# Installs any missing build dependency, builds, and starts the program.
set -euo pipefail
source "$(dirname "$0")/scripts/setup.sh"

ktr_install_missing
ktr_build

if [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ] && [ -z "${QT_QPA_PLATFORM:-}" ]; then
    echo "run.sh: no display is available (DISPLAY and WAYLAND_DISPLAY are unset)." >&2
    echo "Start it from a desktop session, or under Xvfb: xvfb-run -s \"-noreset\" ./run.sh" >&2
    echo "(-noreset keeps the X server up across the program's restarts.)" >&2
    exit 1
fi

program="$KTR_BUILD/ktr4207-kit-demo"
[ -x "$program" ] || program="$KTR_BUILD/ktr4207-kit-controller"
exec "$program" "$@"
