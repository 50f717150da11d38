#!/usr/bin/env bash
# Builds everything and runs all tests; works on a fresh machine. Arguments go to ctest:
#   scripts/test.sh -R errors     only test programs with "errors" in their name
#   scripts/test.sh --all         model tests with all seeds, the long fault campaign, and scripts/lint.sh --deep
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

is_all=0
if [[ "${1:-}" == --all ]]; then
  is_all=1
  export KVL_ALL_SEEDS=1
  shift
fi

scripts/setup.sh
cmake --preset dev
cmake --build --preset dev --parallel "$(nproc)"

status=0
ctest --preset dev --parallel "$(nproc)" --no-tests=error "$@" || status=$?
if ((status == 0 && is_all)); then
  scripts/faults.sh && scripts/lint.sh --deep || status=$?
fi
if ((status == 0)); then
  printf '\ntest.sh: every test passed (build/dev)\n'
else
  printf '\ntest.sh: TESTS FAILED (build/dev/Testing/Temporary/LastTest.log has their output)\n' >&2
fi
exit "$status"
