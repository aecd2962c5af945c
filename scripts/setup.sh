#!/usr/bin/env bash
# Installs what the build needs when it is missing, then configures and builds.
# Sourced by run.sh and test.sh.
set -euo pipefail

KTR_ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
# KTR_SANITIZE=1 builds with AddressSanitizer and UndefinedBehaviorSanitizer, leak
# checking on, into a folder of its own.
ktr_cmake_options=()
if [ "${KTR_SANITIZE:-0}" = 1 ]; then
    KTR_BUILD="${KTR_BUILD:-$KTR_ROOT/build-asan}"
    ktr_cmake_options+=(-DKTR_SANITIZE=ON)
fi
KTR_BUILD="${KTR_BUILD:-$KTR_ROOT/build}"

ktr_packages=(cmake g++ make qtbase5-dev libqt5serialport5-dev qtmultimedia5-dev
              libqt5multimedia5-plugins alsa-utils pulseaudio pulseaudio-utils)

ktr_install_missing() {
    local missing=()
    for pkg in "${ktr_packages[@]}" "$@"; do
        # Removed packages keep a dpkg status (config-files) until purged.
        [ "$(dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null)" = "install ok installed" ] ||
            missing+=("$pkg")
    done
    if [ "${#missing[@]}" -gt 0 ]; then
        echo "Installing: ${missing[*]}"
        local sudo=""
        [ "$(id -u)" -ne 0 ] && sudo="sudo"
        $sudo apt-get update
        DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y "${missing[@]}"
    fi
}

# Configures with the options given, then builds the targets named in ktr_targets, or
# everything when it is empty.
ktr_targets=()
ktr_build() {
    cmake -S "$KTR_ROOT" -B "$KTR_BUILD" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
        "${ktr_cmake_options[@]}" "$@"
    local targets=()
    [ "${#ktr_targets[@]}" -gt 0 ] && targets=(--target "${ktr_targets[@]}")
    cmake --build "$KTR_BUILD" -j"$(nproc)" "${targets[@]}"
}
