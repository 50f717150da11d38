#!/usr/bin/env bash
# Builds everything and runs all tests; works on a fresh machine. Arguments go to ctest:
#   scripts/test.sh -R errors     only tests with "errors" in their name
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

scripts/setup.sh
cmake --preset dev
cmake --build --preset dev --parallel "$(nproc)"

status=0
ctest --preset dev --parallel 2 --no-tests=error "$@" || status=$?
if ((status == 0)); then
  printf '\ntest.sh: every test passed (build/dev)\n'
else
  printf '\ntest.sh: TESTS FAILED (build/dev/Testing/Temporary/LastTest.log has their output)\n' >&2
fi
exit "$status"
