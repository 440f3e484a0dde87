#!/usr/bin/env bash
# Builds a release of the program and runs it with the arguments given, for example
#   scripts/run.sh --scan-once --json
# Standard output is the program's alone; what this script says goes to standard error.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

caller=$PWD
ensure_packages "${build_packages[@]}"
build release CorvaneTVSondrix
cd "$caller"
exec "$project_root/build/release/app/CorvaneTVSondrix" "$@"
