#!/usr/bin/env bash
# Fails and shows the places where a C++ file is not formatted as .clang-format says.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

ensure_packages clang-format
cd "$project_root"
git ls-files -z '*.cpp' '*.h' | xargs -0 clang-format --dry-run -Werror
echo "Every C++ file is formatted."
