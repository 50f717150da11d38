#!/usr/bin/env bash
# Builds everything and runs all tests, on a fresh machine too. Arguments go to ctest:
#   scripts/test.sh -R errors     only the test programs whose name contains "errors"
#   scripts/test.sh --unity       the preset unity instead of dev: faster, if everything has to be built
#   scripts/test.sh --all         model tests with all of their seeds, the long fault campaign, and scripts/lint.sh --deep
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

is_all=0
preset=dev
arguments=()
for argument in "$@"; do
  case "$argument" in
  --all) is_all=1 ;;
  --unity) preset=unity ;;
  *) arguments+=("$argument") ;;
  esac
done
if ((is_all)); then export KVL_ALL_SEEDS=1; fi

scripts/setup.sh
cmake --preset "$preset"
cmake --build --preset "$preset" --parallel "$(nproc)"

if ! ctest --preset "$preset" --no-tests=error "${arguments[@]}"; then
  printf '\ntest.sh: TESTS FAILED (build/%s/Testing/Temporary/LastTest.log has their output)\n' "$preset" >&2
  exit 1
fi
if ((is_all)); then
  scripts/faults.sh "build/$preset"
  scripts/lint.sh --deep
fi
printf '\ntest.sh: every test passed (build/%s)\n' "$preset"
