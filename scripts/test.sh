#!/usr/bin/env bash
# Builds everything with warnings as errors and runs every test through ctest.
#   scripts/test.sh [--preset NAME] [ctest arguments...]
# The preset is dev unless another is named, for example asan for the sanitizers.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

preset=dev
if [ "${1:-}" = --preset ]; then
    preset=$2
    shift 2
fi
ensure_packages "${build_packages[@]}" "${test_packages[@]}"
build "$preset"
cd "$project_root"
exec ctest --preset "$preset" "$@"
