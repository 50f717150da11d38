#!/usr/bin/env bash
# Installs a finished build tree, moves the installation, checks its headers, and builds and runs small projects on
# it, ours and the one that README.md tells its readers to make. Then builds ours on this checkout itself.
#   tests/consumer/run.sh build/dev
set -euo pipefail

if (($# != 1)) || [[ ! -f "$1/CMakeCache.txt" ]]; then
  echo "usage: ${BASH_SOURCE[0]} <build-dir>" >&2
  exit 2
fi
build="$(cd "$1" && pwd)"
here="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
compiler="$(sed -n 's/^CMAKE_CXX_COMPILER:[A-Z]*=//p' "$build/CMakeCache.txt")"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT

configure() {
  cmake -G Ninja -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF "$@"
}

cmake --install "$build" --prefix "$work/first" >"$work/install.log"
mv "$work/first" "$work/prefix" # nothing may remember where it was installed

"$here/headers.sh" "$work/prefix/include" "$build/public_headers.txt" "$compiler"

configure -S "$here" -B "$work/build" -DCMAKE_BUILD_TYPE=Release -DCMAKE_PREFIX_PATH="$work/prefix"
cmake --build "$work/build" --parallel 2
"$work/build/consumer"
(cd "$work" && build/consumer_store)
"$work/build/consumer_host" "$work/build/libconsumer_plugin.so" "$work/build/libconsumer_other_plugin.so"

# The programs ran with the installed libraries, under the name that carries the compatible version.
version="$(sed -n 's/^CMAKE_PROJECT_VERSION:[A-Z]*=\([0-9]*\.[0-9]*\)\..*/\1/p' "$build/CMakeCache.txt")"
for program in consumer consumer_store; do
  ldd "$work/build/$program" | grep libKVL >"$work/libraries"
  if grep -v -E "libKVL[a-z]+\.so\.${version/./\\.} => $work/prefix/" "$work/libraries" >&2; then
    echo "consumer: $program has libraries from elsewhere, or of another version" >&2
    exit 1
  fi
done

mkdir "$work/bolts"
awk '/^```cmake$/ { on = 1; next } /^```$/ { on = 0 } on' "$here/../../README.md" >"$work/bolts/CMakeLists.txt"
awk '/^## / { here = $0 == "## A persisted class" } /^```cpp$/ { on = here; next } /^```$/ { on = 0 } on' \
  "$here/../../README.md" >"$work/bolts/main.cpp"
configure -S "$work/bolts" -B "$work/bolts/build" -DCMAKE_PREFIX_PATH="$work/prefix"
cmake --build "$work/bolts/build"
(cd "$work/bolts" && build/bolts && build/bolts)

# The installed contract suite over the back end of docs/back-end.md. A unity build, as a user may have, takes half of
# the time.
mkdir -p "$work/contract/tests/contract"
cp -r "$here/../contract/memory" "$work/contract/tests/contract/"
python3 -B "$here/../documents/blocks.py" extract "$work/contract" >"$work/blocks.log"
configure -S "$here/contract" -B "$work/contract/build" -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG=-O0 \
  -DCMAKE_UNITY_BUILD=ON -DCMAKE_PREFIX_PATH="$work/prefix" \
  -DBACK_END="$work/contract/tests/contract/memory/MemoryContract.cpp" -DINCLUDES="$work/contract"
cmake --build "$work/contract/build" --parallel 2
"$work/contract/build/back_end_contract" --gtest_brief=1

# The checkout as a subdirectory of a project: <kvlpersist/...> is found, and the tree's own folders are not.
configure -S "$here" -B "$work/subproject" -DKVL_SOURCE="$here/../.."
cmake --build "$work/subproject" --parallel 2 --target consumer_store_objects
echo "consumer: the installed package works"
