#!/usr/bin/env bash
# Takes the pictures of the window that the documents show, with the lab's devices, on a screen of
# its own (Xvfb). Needs root, as the lab does.
#   scripts/screenshot.sh [FOLDER [WIDTHxHEIGHT[@SCALE]]]
# The folder is docs/screenshots and the screen 1180x720 unless others are named.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

folder=$(realpath -m "${1:-$project_root/docs/screenshots}")
ensure_packages "${build_packages[@]}" "${test_packages[@]}" imagemagick
build dev CorvaneTVSondrix window_remote
mkdir -p "$folder"
cd "$project_root/tests/lab"
SONDRIX_LAB_SCREENSHOTS=$folder SONDRIX_LAB_SCREEN=${2:-1180x720} \
    /usr/bin/python3 -B -m sondrix_lab --program "$project_root/build/dev/app/CorvaneTVSondrix" screenshots
