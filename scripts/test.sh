#!/usr/bin/env bash
# Builds everything and runs all tests, on a fresh machine too. Arguments go to ctest:
#   scripts/test.sh -R errors     only the test programs whose name contains "errors"
#   scripts/test.sh --all         model tests with all of their seeds, the long fault campaign, and scripts/lint.sh --deep
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

is_all=0
arguments=()
for argument in "$@"; do
  if [[ "$argument" == --all ]]; then is_all=1; else arguments+=("$argument"); fi
done
if ((is_all)); then export KVL_ALL_SEEDS=1; fi

scripts/setup.sh
cmake --preset dev
cmake --build --preset dev --parallel "$(nproc)"

if ! ctest --preset dev --no-tests=error "${arguments[@]}"; then
  printf '\ntest.sh: TESTS FAILED (build/dev/Testing/Temporary/LastTest.log has their output)\n' >&2
  exit 1
fi
if ((is_all)); then
  scripts/faults.sh
  scripts/lint.sh --deep
fi
printf '\ntest.sh: every test passed (build/dev)\n'
