#!/usr/bin/env bash
# Shows the program without a single AV device: makes a private network, fills it with the lab's
# responders and simulators of every provider, and opens the window there, or prints the report.
#   scripts/demo.sh [--json]
# Needs root for the network namespaces, and asks for it with sudo. Nothing of it reaches the network of
# this machine, and nothing stays behind. The window needs an X display (DISPLAY), which a Wayland
# desktop has too.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

case ${1:-} in
"") manner=window ;;
--json) manner=json ;;
*) fail "usage: scripts/demo.sh [--json]" ;;
esac
[ "$manner" = json ] || [ -n "${DISPLAY:-}" ] || fail "There is no X display (DISPLAY is empty); try --json."

ensure_packages "${build_packages[@]}" "${test_packages[@]}"
build release CorvaneTVSondrix

settings=(SONDRIX_LAB_DEMO="$manner")
if [ "$manner" = window ]; then
    # The right to the display may lie where the demonstration has a file system of its own.
    authority=$(mktemp)
    trap 'rm -f "$authority"' EXIT
    cp "${XAUTHORITY:-$HOME/.Xauthority}" "$authority" 2>/dev/null || true
    settings+=(DISPLAY="$DISPLAY" XAUTHORITY="$authority")
fi
cd "$project_root/tests/lab"
status=0
# What the lab says as a test is of no use here.
as_root env "${settings[@]}" /usr/bin/python3 -B -m sondrix_lab \
    --program "$project_root/build/release/app/CorvaneTVSondrix" demo \
    2> >(sed -u '/^test_/d; /^-*$/d; /^Ran /d; /^OK$/d; /^ok$/d' >&2) || status=$?
[ "$status" != 77 ] || fail "The demonstration could not be given on this machine; the reason stands above."
exit "$status"
