#!/usr/bin/env bash
# Installs any missing build dependency, builds, and runs the whole suite headless.
set -euo pipefail
source "$(dirname "$0")/scripts/setup.sh"

ktr_install_missing
ktr_build

export QT_QPA_PLATFORM=offscreen
cd "$KTR_BUILD"
ctest --output-on-failure -j"$(nproc)" "$@"
