#!/usr/bin/env bash
# Runs all tests in a build that counts, and prints how much of each folder they reached.
#   scripts/coverage.sh [ctest arguments...]
# build/coverage/uncovered.txt lists what they did not reach, line by line.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

folders=(core discoverers mdns ui app)
ensure_packages "${build_packages[@]}" "${test_packages[@]}" gcovr
build coverage
cd "$project_root"
find build/coverage -name '*.gcda' -delete
ctest --preset coverage "$@" >&2

# Branches that only an exception takes, out of memory most of all, are not counted: Qt throws none.
report=(gcovr --root . --object-directory build/coverage --exclude-throw-branches --exclude-unreachable-branches
    --exclude-directories '.*CompilerIdCXX')
"${report[@]}" --json build/coverage/coverage.json "${folders[@]/#/--filter=}" build/coverage >&2
"${report[@]}" --add-tracefile build/coverage/coverage.json --txt build/coverage/uncovered.txt >&2
echo "| Folder | Lines | Branches |"
echo "|---|---|---|"
for folder in "${folders[@]}"; do
    "${report[@]}" --add-tracefile build/coverage/coverage.json --filter "$folder/" --print-summary --txt build/coverage/folder.txt |
        sed -n 's/^lines: //p; s/^branches: //p' | paste -s -d '|' | sed "s#.*#| \`$folder/\` | & |#; s#)|#) | #"
done
