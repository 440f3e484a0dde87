#!/usr/bin/env bash
# Runs clazy, level 1, and cppcheck over the program's own files. A finding that is none is marked
# beside its line, with the reason.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

ensure_packages "${build_packages[@]}" clazy cppcheck
build dev
cd "$project_root"
folders=(core discoverers mdns ui app)

# The build makes warnings errors, so that a finding is one too.
git ls-files -z "${folders[@]/%//*.cpp}" |
    xargs -0 -n 6 -P "$(nproc)" clazy-standalone -p build/dev -checks=level1 \
        --header-filter='/(core|discoverers|mdns|ui|app)/'
echo "clazy found nothing."

# useStlAlgorithm: a plain loop with a return in it often reads better than an algorithm.
# shadowFunction: Qt's way to name accessors gives locals the names of functions.
cppcheck --quiet --error-exitcode=1 --inline-suppr --std=c++17 --library=qt -j "$(nproc)" \
    --enable=warning,performance,portability,style \
    --suppress=useStlAlgorithm --suppress=shadowFunction --suppress=unknownMacro \
    -I . -I mdns/include "${folders[@]}"
echo "cppcheck found nothing."
