#!/usr/bin/env bash
# Cross-builds everything for 64-bit Windows with warnings as errors, makes the packages and runs the tests
# under Wine.
#   scripts/test-windows.sh [ctest arguments...]
# Qt for Windows is made first, if it is not there yet; see build-qt-windows.sh.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

ensure_packages "${build_packages[@]}" "${test_packages[@]}" "${windows_packages[@]}"
"$project_root/scripts/package-windows.sh" >/dev/null
build windows
# Its report is what that of the Windows program is compared with.
build dev CorvaneTVSondrix
cd "$project_root"
trap 'scripts/run-wine.sh --stop' EXIT
scripts/run-wine.sh cmd /c exit
ctest --preset windows "$@"
