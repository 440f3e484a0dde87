#!/usr/bin/env bash
# Runs clang-tidy over the C++ files of the project, with the checks of .clang-tidy.
#   scripts/tidy.sh [FOLDER...]
# Without folders it looks at all of them.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

ensure_packages "${build_packages[@]}" clang-tidy python3
build dev
cd "$project_root"
# One command for each file: what several targets share would be looked at for each of them.
mkdir -p build/dev/tidy
python3 -c 'import json, sys; json.dump(list({each["file"]: each for each in json.load(sys.stdin)}.values()), sys.stdout)' \
    <build/dev/compile_commands.json >build/dev/tidy/compile_commands.json
[ $# -gt 0 ] || set -- app core discoverers mdns ui tests benchmarks fuzz packaging
run-clang-tidy -quiet -p build/dev/tidy "^$project_root/($(IFS='|' && echo "$*"))/" 2>&1 |
    sed '/^[0-9]* warnings generated\.$/d; /^Suppressed /d; /^Use -header-filter/d; /^clang-tidy/d; /^$/d'
echo "clang-tidy found nothing."
