#!/usr/bin/env bash
# Installs a finished build tree, moves the installation, and builds and runs two small projects on it, ours and
# the one that README.md tells its readers to make:
#   tests/consumer/run.sh build/dev
set -euo pipefail

if (($# != 1)) || [[ ! -f "$1/CMakeCache.txt" ]]; then
  echo "usage: ${BASH_SOURCE[0]} <build-dir>" >&2
  exit 2
fi
build="$(cd "$1" && pwd)"
here="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/first" >"$work/install.log"
mv "$work/first" "$work/prefix" # nothing may remember where it was installed

cmake -S "$here" -B "$work/build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_PREFIX_PATH="$work/prefix" \
  -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF
cmake --build "$work/build" --parallel 1
"$work/build/consumer"

# The libraries that it ran with are the installed ones.
strays="$(ldd "$work/build/consumer" | grep libKVL | grep -v -F "$work/prefix/" || true)"
if [[ -n "$strays" ]]; then
  printf 'consumer: libraries from elsewhere:\n%s\n' "$strays" >&2
  exit 1
fi

mkdir "$work/bolts"
awk '/^```cmake$/ { on = 1; next } /^```$/ { on = 0 } on' "$here/../../README.md" >"$work/bolts/CMakeLists.txt"
awk '/^## / { here = $0 == "## A persisted class" } /^```cpp$/ { on = here; next } /^```$/ { on = 0 } on' \
  "$here/../../README.md" >"$work/bolts/main.cpp"
cmake -S "$work/bolts" -B "$work/bolts/build" -DCMAKE_PREFIX_PATH="$work/prefix" \
  -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF
cmake --build "$work/bolts/build"
(cd "$work/bolts" && build/bolts && build/bolts)
echo "consumer: the installed package works"
