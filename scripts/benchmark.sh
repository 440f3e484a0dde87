#!/usr/bin/env bash
# Builds a release and runs the benchmarks; arguments go to each of them, for example
#   scripts/benchmark.sh --benchmark_filter=insert
# The passes run in a network namespace of their own, where nothing answers.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

ensure_packages "${build_packages[@]}" libbenchmark-dev iproute2 fonts-dejavu-core
build release
folder=$project_root/build/release/benchmarks
"$folder/registry_benchmark" "$@"
"$folder/window_benchmark" "$@"
"$project_root/tests/private_network.sh" "$folder/pass_benchmark" "$@"
