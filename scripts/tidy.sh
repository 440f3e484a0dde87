#!/usr/bin/env bash
# Runs clang-tidy over every C++ file of the project, with the checks of .clang-tidy.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

ensure_packages "${build_packages[@]}" clang-tidy
build dev
cd "$project_root"
check() {
    run-clang-tidy -quiet -p build/dev "$@" 2>&1 |
        sed '/^[0-9]* warnings generated\.$/d; /^Suppressed /d; /^Use -header-filter/d; /^clang-tidy/d; /^$/d'
}
check "^$project_root/(app|core|discoverers|mdns|ui)/"
# The analyzer takes most of the time, and what it looks for it finds in the program's own files.
check '-checks=-clang-analyzer-*' "^$project_root/(tests|benchmarks|fuzz)/"
echo "clang-tidy found nothing."
