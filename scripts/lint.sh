#!/usr/bin/env bash
# All checks that run no program: the format of the whole tree, Clang's warnings on the libraries, and clang-tidy on the
# libraries' sources. Any finding is a failure.
#
#   scripts/lint.sh
#   scripts/lint.sh --deep    also clang-tidy's path analysis, and clang-tidy on tests and examples;
#                             needs the compile commands of build/dev
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

scripts/setup.sh --lint

# Include files that git does not track yet.
git ls-files --cached --others --exclude-standard -- '*.h' '*.cpp' |
  xargs clang-format-14 --dry-run --Werror
echo "lint: the format is right"

cmake --preset clang >/dev/null
cmake --build --preset clang --parallel "$(nproc)"
echo "lint: Clang has no warnings"

tidy() { # build folder, files as a pattern, options
  run-clang-tidy-14 -p "$1" -quiet -j "$(nproc)" "${@:3}" "$2" 2>/dev/null |
    { grep -vE '^(clang-tidy|Use -header-filter|Suppressed |[0-9]+ warnings? )' || true; }
}
if [[ "${1:-}" == --deep ]]; then
  tidy build/clang '.*'
  tidy build/dev '(_test|/tests/.*|/examples/.*)\.cpp' -checks=-clang-analyzer-*
else
  tidy build/clang '.*' -checks=-clang-analyzer-*
fi
echo "lint: clang-tidy has no findings"
