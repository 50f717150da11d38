#!/usr/bin/env bash
# All checks that run no program: the format of the whole tree, Clang's warnings on the libraries, and clang-tidy on the
# libraries' sources. Any finding is a failure.
#
#   scripts/lint.sh
#   scripts/lint.sh --deep    also clang-tidy's path analysis, and clang-tidy on tests and examples
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

is_deep=0
case "${1:-}" in
"") ;;
--deep) is_deep=1 ;;
*)
  echo "usage: scripts/lint.sh [--deep]" >&2
  exit 2
  ;;
esac

scripts/setup.sh --lint
for tool in clang-format-14 run-clang-tidy-14; do
  command -v "$tool" >/dev/null || {
    echo "lint: there is no $tool" >&2
    exit 1
  }
done

# Include files that git does not track yet.
git ls-files --cached --others --exclude-standard -- '*.h' '*.cpp' |
  xargs clang-format-14 --dry-run --Werror
echo "lint: the format is right"

# A template that only one source can instantiate, used by a function in a header, is missing elsewhere as soon as the
# compiler inlines that function. Sources that are joined, or not optimised, hide it. (Eigen may be absent.)
git ls-files --cached --others --exclude-standard -- \
  {platform,errors,persist,metadata,collections,wrappers,module,describe,store}/'*.h' ':!describe/dsc_Eigen*' | sed 's/.*/#include "&"/' |
  clang++-14 -std=c++20 -I. -fsyntax-only -Werror -Wundefined-func-template -Wundefined-var-template -x c++ -
echo "lint: headers define the templates that they use"

cmake --preset clang >/dev/null
scripts/each_source.py build/clang/include
echo "lint: each source of the libraries compiles by itself"

cmake --build --preset clang --parallel "$(nproc)"
echo "lint: Clang has no warnings"

# The libraries' sources are joined, so that the standard library's headers are read once for several of them.
joined=-bugprone-suspicious-include # it is for those who include a source by mistake

tidy() { # build folder, sources as a pattern, options
  run-clang-tidy-14 -p "$1" -quiet -j "$(nproc)" "${@:3}" "$2" 2>/dev/null |
    { grep -vE '^(clang-tidy|Use -header-filter|Suppressed |[0-9]+ warnings? )' || true; }
}
if ((is_deep)); then
  tidy build/clang '.*' -checks="$joined"
  cmake --preset clang-all >/dev/null
  cmake --build build/clang-all --target document_blocks >/dev/null
  tidy build/clang-all '(_test|/tests/.*|/examples/.*)\.cpp' -checks=-clang-analyzer-*
else
  tidy build/clang '.*' -checks="$joined,-clang-analyzer-*"
fi
echo "lint: clang-tidy has no findings"
