#!/usr/bin/env bash
# Installs a finished build of the static libraries, moves the installation, and builds and runs the small projects on it.
#   tests/consumer/static.sh build/clang
set -euo pipefail

if (($# != 1)) || ! grep -q '^BUILD_SHARED_LIBS:[A-Z]*=OFF$' "$1/CMakeCache.txt"; then
  echo "usage: ${BASH_SOURCE[0]} <build-dir of static libraries>" >&2
  exit 2
fi
library="$(cd "$1" && pwd)"
here="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
compiler="$(sed -n 's/^CMAKE_CXX_COMPILER:[A-Z]*=//p' "$library/CMakeCache.txt")"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT

configure() {
  cmake -G Ninja -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF -DCMAKE_BUILD_TYPE=Debug "$@"
}

cmake --install "$library" --prefix "$work/first" >"$work/install.log"
mv "$work/first" "$work/prefix" # nothing may remember where it was installed
if find "$work/prefix" -name '*.so*' | grep . >&2; then
  echo "consumer: a shared library among static ones" >&2
  exit 1
fi

configure -S "$here" -B "$work/build" -DCMAKE_PREFIX_PATH="$work/prefix"
cmake --build "$work/build" --parallel 2
"$work/build/consumer"
(cd "$work" && build/consumer_store)
"$work/build/consumer_host" "$work/build/libconsumer_plugin.so" "$work/build/libconsumer_other_plugin.so"
# Names that begin with ours. Clang also exports constants of literals, and functions of the standard library over our
# types: these hold no state, and are the same in every copy.
if nm --demangle --dynamic --defined-only "$work/build/libconsumer_plugin.so" |
  grep -E ' [A-Za-z] ((guard variable|vtable|typeinfo|typeinfo name) for )?(mem|omi|thr|cow|typ|atr|cls|nex|sto)_' >&2; then
  echo "consumer: a plug-in exports its copy of the library" >&2
  exit 1
fi

# The tests need shared libraries, and the configuration says so.
if configure -S "$here/../.." -B "$work/tests" -DBUILD_SHARED_LIBS=OFF -DKVL_BUILD_TESTS=ON >"$work/tests.log" 2>&1; then
  echo "consumer: static libraries were configured with tests" >&2
  exit 1
fi
grep -q "Configure BUILD_SHARED_LIBS=OFF with KVL_BUILD_TESTS=OFF" <(tr -s ' \n' ' ' <"$work/tests.log")
echo "consumer: the static package works"
