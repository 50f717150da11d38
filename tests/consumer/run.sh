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

# What docs/back-end.md tells the author of a back end to do, from building the library to the contract suite. The
# document's commands run as they are; the project file that it shows is written in between. The tool chain asks for
# what compiles soonest, which a user may do, too. A quarter of the suite runs: all of it ran over this back end with
# the tree's tests.
mkdir "$work/back-end"
ln -s "$(cd "$here/../.." && pwd)" "$work/back-end/kvlpersist"
awk '/^```sh$/ { on = 1; next }
  /^```cmake$/ { on = 1; end = "END"; print "cat >my-back-end/CMakeLists.txt <<\"END\""; next }
  /^```$/ { if (on && end) print end; on = 0; end = ""; next }
  on' "$here/../../docs/back-end.md" >"$work/back-end/commands.sh"
cat >"$work/back-end/quick.cmake" <<END
set(CMAKE_UNITY_BUILD ON)
set(CMAKE_UNITY_BUILD_BATCH_SIZE 16)
set(CMAKE_CXX_FLAGS_RELEASE "-O0" CACHE STRING "")
END
build_back_end() {
  cd "$work/back-end" && GTEST_TOTAL_SHARDS=4 GTEST_SHARD_INDEX=0 CXX="$compiler" CMAKE_GENERATOR=Ninja CMAKE_BUILD_PARALLEL_LEVEL=2 \
  CMAKE_TOOLCHAIN_FILE="$work/back-end/quick.cmake" bash -euxo pipefail commands.sh
}
(build_back_end) >"$work/back-end.log" 2>&1 & # beside the rest: it waits for its own steps often
back_end=$!
trap 'kill "$back_end" 2>/dev/null || true; rm -rf "$work"' EXIT

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
"$work/prefix/bin/kvlstore" show "$work/bolts/bolts.kvs" spare | grep -q 'm_Length *double' || {
  echo "consumer: the installed kvlstore does not show the store" >&2
  exit 1
}
[[ -s "$work/prefix/share/man/man1/kvlstore.1" ]]

# The checkout as a subdirectory of a project: <kvlpersist/...> is found, and the tree's own folders are not.
configure -S "$here" -B "$work/subproject" -DKVL_SOURCE="$here/../.."
cmake --build "$work/subproject" --parallel 2 --target consumer_store_objects
# It has the same contract suite. That ran above, so here two objects are enough: a back end, and tests of the suite.
cmake --build "$work/subproject" --parallel 2 --target CMakeFiles/consumer_contract.dir/contract_settings.cpp.o \
  CMakeFiles/kvl_contract_suite.dir/kvl/contract/tests/contract/Pointers_test.cpp.o
diff -r -x files.stamp "$work/subproject/kvl/contract" "$work/prefix/share/kvlpersist/contract"
wait "$back_end" || {
  cat "$work/back-end.log" >&2
  echo "consumer: the commands of docs/back-end.md fail" >&2
  exit 1
}
tail -n 2 "$work/back-end.log"
echo "consumer: the installed package works"
