#!/usr/bin/env bash
# Runs clang-tidy over the C++ files of the project, with the checks of .clang-tidy.
#   scripts/tidy.sh [FOLDER...]
# Without folders it looks at all of them.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

ensure_packages "${build_packages[@]}" clang-tidy
build dev
cd "$project_root"
[ $# -gt 0 ] || set -- app core discoverers mdns ui tests benchmarks fuzz packaging
run-clang-tidy -quiet -p build/dev "^$project_root/($(IFS='|' && echo "$*"))/" 2>&1 |
    sed '/^[0-9]* warnings generated\.$/d; /^Suppressed /d; /^Use -header-filter/d; /^clang-tidy/d; /^$/d'
echo "clang-tidy found nothing."
