#!/usr/bin/env bash
# Builds the Debian package, installs it on this machine with apt, checks what it
# installed with the desktop's own validators (udev, desktop entries, AppStream),
# starts the installed programs from their desktop entries under Xvfb, and removes
# the package again.
#
#   scripts/package.sh [--build-dir DIR] [--keep]
#
# --build-dir packages an existing build instead of a release build in build-package;
# --keep leaves the package installed. Needs root (or sudo) and apt; installs the
# validators it lacks. Exits 77, with the reason, where it cannot run.
set -euo pipefail
source "$(dirname "$0")/setup.sh"

package=ktr4207-kit-controller
build=""
keep=false
while [ $# -gt 0 ]; do
    case "$1" in
    --build-dir) build="$(cd "$2" && pwd)"; shift 2 ;;
    --keep) keep=true; shift ;;
    *) echo "usage: $0 [--build-dir DIR] [--keep]" >&2; exit 2 ;;
    esac
done

skip() {
    echo "package.sh: skipped: $*" >&2
    exit 77
}
step() { echo "== $*"; }
failures=0
fail() {
    echo "FAIL: $*" >&2
    failures=$((failures + 1))
}

command -v apt-get >/dev/null && command -v dpkg >/dev/null || skip "not a Debian system (no apt-get)"
sudo=""
if [ "$(id -u)" -ne 0 ]; then
    sudo -n true 2>/dev/null || skip "needs root or password-less sudo to install the package"
    sudo="sudo"
fi

# A sanitizer build is no build to ship: its binaries need the sanitizer runtime.
if [ -n "$build" ] && ldd "$build/$package" 2>/dev/null | grep -Eq 'lib(a|ub|l|t)san'; then
    skip "$build is a sanitizer build"
fi

step "tools"
ktr_install_missing dpkg-dev file udev desktop-file-utils appstream xvfb xauth x11-utils ||
    skip "could not install the validators"
for tool in dpkg-shlibdeps udevadm desktop-file-validate appstreamcli xvfb-run xwininfo xprop; do
    command -v "$tool" >/dev/null || skip "$tool is missing"
done

step "build"
if [ -z "$build" ]; then
    build="$KTR_ROOT/build-package"
    KTR_BUILD="$build" ktr_build -DCMAKE_BUILD_TYPE=Release -DKTR_BUILD_TESTS=OFF
fi

step "package"
out="$build/package"
rm -rf "$out"
cpack -G DEB --config "$build/CPackConfig.cmake" -B "$out" >"$out.log" 2>&1 || {
    cat "$out.log" >&2
    exit 1
}
debs=("$out"/${package}_*.deb)
deb="${debs[0]}"
[ -f "$deb" ] || { echo "no package was made in $out" >&2; exit 1; }
echo "$deb"
depends="$(dpkg-deb --field "$deb" Depends)"
echo "Depends: $depends"
grep -q 'libqt5widgets5' <<<"$depends" || fail "dependencies not worked out from the binaries"

step "install"
apt_get() { $sudo env DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=300 "$@"; }
remove_package() {
    dpkg -s "$package" >/dev/null 2>&1 || return 0
    apt_get remove -y "$package" >/dev/null
}
$keep || trap remove_package EXIT
apt_get install -y --reinstall "$deb"
files="$(dpkg -L "$package")"
installed() { grep -m1 -E "$1" <<<"$files" || true; }
for pattern in '^/usr/bin/ktr4207-kit-controller$' '^/usr/bin/ktr4207-kit$' '^/usr/bin/ktr4207-kit-demo$' \
    '^/usr/bin/ktr4207-kit-sim$' '^/usr/share/ktr4207-kit-controller/halvorn\.ico$' \
    '^/usr/share/icons/hicolor/256x256/apps/'; do
    [ -n "$(installed "$pattern")" ] || fail "the package holds no $pattern"
done

step "udev rule"
rule="$(installed '/udev/rules.d/[0-9]+-ktr4207-kit\.rules$')"
if [ -z "$rule" ]; then
    fail "the package holds no udev rule for the kit"
else
    if udevadm verify --help >/dev/null 2>&1; then
        udevadm verify --resolve-names=never "$rule" || fail "udevadm verify refused $rule"
    else
        # udevadm test reads every rule file and names each line it cannot use.
        ttys=(/sys/class/tty/*)
        tty="${ttys[0]}"
        report="$(udevadm test --action=add "$tty" 2>&1 || true)"
        name="$(basename "$rule")"
        grep -q "Reading rules file: .*/$name\$" <<<"$report" || fail "udevadm test did not read $name"
        if grep "/$name:" <<<"$report" >&2; then
            fail "udevadm test refused lines of $name"
        fi
    fi
fi

step "desktop entries"
entries="$(grep -E '^/usr/share/applications/.*\.desktop$' <<<"$files" || true)"
[ "$(wc -w <<<"$entries")" -eq 2 ] || fail "expected two desktop entries, found: $entries"
for entry in $entries; do
    desktop-file-validate "$entry" || fail "desktop-file-validate refused $entry"
done

step "AppStream metainfo"
metainfo="$(installed '^/usr/share/metainfo/.*\.metainfo\.xml$')"
if [ -z "$metainfo" ]; then
    fail "the package holds no AppStream metainfo"
else
    appstreamcli validate --no-net "$metainfo" || fail "appstreamcli refused $metainfo"
fi

step "installed demo"
help="$(ktr4207-kit-demo --help)" || fail "ktr4207-kit-demo --help failed"
head -n2 <<<"$help"

# The installed tool against the installed simulator: a kit programmed from a session
# that was read from it, and a register read back, with the statuses the help lists.
step "installed tool"
ktr4207-kit --version || fail "ktr4207-kit --version failed"
ktr4207-kit --help | grep -q '^Exit status' || fail "ktr4207-kit --help lists no exit statuses"
work="$(mktemp -d)"
mkfifo "$work/input"
ktr4207-kit-sim <"$work/input" >"$work/sim.log" 2>&1 &
sim=$!
exec 9>"$work/input"
port=""
for _ in $(seq 100); do
    port="$(sed -n 's/^Simulated kit on //p' "$work/sim.log")"
    [ -n "$port" ] && break
    sleep 0.1
done
if [ -z "$port" ]; then
    fail "ktr4207-kit-sim gave no port"
else
    ktr4207-kit --port "$port" info || fail "ktr4207-kit info failed"
    ktr4207-kit --port "$port" pull "$work/session.ini" || fail "ktr4207-kit pull failed"
    ktr4207-kit --port "$port" push "$work/session.ini" || fail "ktr4207-kit push failed"
    ktr4207-kit --port "$port" get A.KP.KP || fail "ktr4207-kit get failed"
    status=0
    ktr4207-kit --port "$work/none" info 2>/dev/null || status=$?
    [ "$status" -eq 3 ] || fail "ktr4207-kit on a missing port ended with $status, not 3"
fi
echo quit >&9
exec 9>&-
wait "$sim" 2>/dev/null || true
rm -rf "$work"

# Starts a desktop entry's Exec line under Xvfb and checks that its first window
# comes up with the program's icon (_NET_WM_ICON is set only for a non-null icon).
# The programs keep their settings in a throw-away home, and show on the X server
# whatever platform the caller chose (the tests run offscreen).
step "started from the desktop entries"
for entry in $entries; do
    command="$(sed -n 's/^Exec=//p' "$entry" | sed 's/ %[fFuU]//g')"
    program="${command%% *}"
    home="$(mktemp -d)"
    shot="$out/$(basename "$entry" .desktop).png"
    echo "no window" >"$home/verdict"
    HOME="$home" XDG_CONFIG_HOME="$home/.config" QT_QPA_PLATFORM=xcb PROGRAM="$program" SHOT="$shot" \
        timeout 300 xvfb-run -a -s '-screen 0 1280x800x24' sh -c '
        '"$command"' >/dev/null 2>&1 &
        pid=$!
        for _ in $(seq 600); do # two minutes at least: a loaded machine starts slowly
            for w in $(xwininfo -root -children | sed -n "s/^ *\(0x[0-9a-f]*\) .*/\1/p"); do
                xprop -id "$w" WM_CLASS 2>/dev/null | grep -q "\"$PROGRAM\"" || continue
                xwininfo -id "$w" | grep -q IsViewable || continue
                sleep 1
                if command -v import >/dev/null; then import -window root "$SHOT" 2>/dev/null || true; fi
                if xprop -id "$w" _NET_WM_ICON | grep -q "not found"; then
                    echo "window without icon" >"$HOME/verdict"
                else
                    echo "window with icon" >"$HOME/verdict"
                fi
                kill $pid
                exit 0
            done
            sleep 0.2
        done
        kill $pid 2>/dev/null' || true
    verdict="$(cat "$home/verdict")"
    rm -rf "$home"
    echo "$(basename "$entry"): $command: $verdict"
    [ "$verdict" = "window with icon" ] || fail "$(basename "$entry"): $verdict"
done

step "remove"
if ! $keep; then
    remove_package
    trap - EXIT
    ! dpkg -s "$package" 2>/dev/null | grep -q '^Status: install' || fail "apt-get remove left the package"
    for file in /usr/bin/ktr4207-kit-controller /usr/bin/ktr4207-kit "$rule"; do
        [ ! -e "$file" ] || fail "apt-get remove left $file"
    done
fi

if [ "$failures" -gt 0 ]; then
    echo "package.sh: $failures check(s) failed" >&2
    exit 1
fi
echo "package.sh: $(basename "$deb") built, installed, validated$($keep || echo ' and removed')"
