#!/usr/bin/env bash
# Checks the headers of an installation: each public one compiles alone, what is installed is what these include, and
# each of the others refuses to be included.
#   tests/consumer/headers.sh <include folder> <list of public headers> <compiler>
set -euo pipefail

include="$(cd "$1" && pwd)"
public="$2"
compiler="$3"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
# These need Eigen, which the library does not.
for_eigen='^describe/dsc_Eigen'
eigen="${EIGEN_INCLUDE:-/usr/include/eigen3}"
export include compiler work

fail() {
  printf 'headers: %s\n' "$1" >&2
  exit 1
}

compile() { # a header, where the compiler's messages go, and further options
  echo "#include <kvlpersist/$1>" |
    "$compiler" -std=c++20 -I "$include" "${@:3}" -x c++ - 2>"$2"
}

(cd "$include" && find . -type f -printf '%P\n') | sort >"$work/installed"
grep -v '^kvlpersist/.*\.h$' "$work/installed" && fail "this is no header of the project"
cp "$public" "$work/compiled"
: >"$work/for_eigen"
if [[ ! -e "$eigen/Eigen/Core" ]]; then
  echo "headers: those for Eigen are not compiled: it is not in $eigen (EIGEN_INCLUDE names another folder)"
  grep -v -E "$for_eigen" "$public" >"$work/compiled"
  grep -E "$for_eigen" "$public" | sed 's|^|kvlpersist/|' >"$work/for_eigen" # they need no inner ones
fi
"$(dirname "${BASH_SOURCE[0]}")/compile_alone.py" "$include" "$work/compiled" "$compiler" -isystem "$eigen"

sed 's|.*|#include <kvlpersist/&>|' "$work/compiled" |
  "$compiler" -std=c++20 -I "$include" -isystem "$eigen" -M -x c++ - | tr ' ' '\n' | grep -F "$include/" |
  sed "s|^$include/||" | cat - "$work/for_eigen" | sort -u >"$work/reached"
diff "$work/reached" "$work/installed" >&2 || fail "installed (>) is not what public headers include (<)"

sed 's|^|kvlpersist/|' "$public" | sort | comm -13 - "$work/installed" >"$work/inner"
[[ -s "$work/inner" ]] || fail "there is no inner header"
refuses() {
  local header="$1" log="$work/${1//\//_}.refusal" instead before
  instead="$(sed -n 's/^#error .* include <\([^>]*\)>.*/\1/p' "$include/$header")"
  for before in "" "#include <$instead>"; do # also after a public header that has included it
    if printf '%s\n#include <%s>\n' "$before" "$header" |
      "$compiler" -std=c++20 -I "$include" -E -o /dev/null -x c++ - 2>"$log"; then
      printf "headers: <%s> lets itself be included after '%s'\n" "$header" "$before" >&2
      return 255 # xargs stops
    fi
    grep -q -F "<$header> is an inner header: include <$instead>" "$log" || {
      cat "$log" >&2
      printf 'headers: <%s> does not say why it cannot be included\n' "$header" >&2
      return 255
    }
  done
}
export -f refuses
xargs -P "$(nproc)" -I '{}' bash -c 'refuses "{}"' <"$work/inner"

# Without run-time type information a header says what is missing, first of all.
grep -v '^platform/' "$public" | grep -E '/(cls_ReadVisitor|cls_ClassRegistrar|nex_initialize|sto_Store)\.h$' |
  while IFS= read -r header; do
    compile "$header" "$work/rtti.log" -fno-rtti -E -o /dev/null && fail "<kvlpersist/$header> compiles with -fno-rtti"
    grep -m 1 'error:' "$work/rtti.log" | grep -q -F 'KVLpersist needs run-time type information' || {
      cat "$work/rtti.log" >&2
      fail "<kvlpersist/$header> does not say that it needs run-time type information"
    }
  done

echo "headers: $(wc -l <"$work/compiled") public ones compile alone, $(wc -l <"$work/inner") inner ones refuse to be included"
