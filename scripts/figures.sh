#!/usr/bin/env bash
# Builds the benchmarks, runs them, and prints the figures that matter most beside those that we want to reach. Takes
# some minutes a run; nothing else should use the machine. Arguments go to bench/figures.py:
#   scripts/figures.sh --runs 3          medians of three runs
#   scripts/figures.sh --folder FOLDER   where the files go, 2 GB (default: the system's temporary folder)
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

scripts/setup.sh
cmake --preset bench -DKVL_BUILD_EXAMPLES=OFF >/dev/null
cmake --build --preset bench --parallel "$(nproc)" --target identity_bench objects_bench bulk_bench >/dev/null
exec python3 -B bench/figures.py "$@"
