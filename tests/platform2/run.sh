#!/usr/bin/env bash
# Builds the second platform and, on it, the persistence library with some of its tests; installs both and runs a host's
# program. Then checks that platforms which do not fit are refused: when the build is configured, and when the program
# starts with another library than it was built with.
#   tests/platform2/run.sh build/dev
set -euo pipefail

if (($# != 1)) || [[ ! -f "$1/CMakeCache.txt" ]]; then
  echo "usage: ${BASH_SOURCE[0]} <build-dir>" >&2
  exit 2
fi
work="$(cd "$1" && pwd)/platform2" # not a temporary folder: the compiler cache knows it next time
here="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
tree="$(cd "$here/../.." && pwd)"
compiler="$(sed -n 's/^CMAKE_CXX_COMPILER:[A-Z]*=//p' "$1/CMakeCache.txt")"
launcher="$(command -v ccache || true)"
rm -rf "$work"
mkdir "$work"

fail() {
  printf 'platform2: %s\n' "$1" >&2
  exit 1
}
configure() {
  cmake -G Ninja -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_CXX_COMPILER_LAUNCHER="$launcher" \
    -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG=-O0 -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF "$@"
}
configure_library() { # the build's name, the platform's name, further arguments
  configure -S "$tree" -B "$work/$1" -DCMAKE_PREFIX_PATH="$work/$2" -DKVL_PLATFORM=external \
    -DKVL_BUILD_STORE=OFF -DKVL_BUILD_EXAMPLES=OFF "${@:3}"
}
build_platform() { # name, options
  configure -S "$here" -B "$work/$1-build" "${@:2}" >"$work/$1.log"
  cmake --build "$work/$1-build" --parallel "$(nproc)" >>"$work/$1.log" || {
    cat "$work/$1.log" >&2
    fail "the platform does not build"
  }
  cmake --install "$work/$1-build" --prefix "$work/$1" >>"$work/$1.log"
}
refused() { # what, a regular expression of the reason, command
  if "${@:3}" >"$work/refusal" 2>&1; then fail "$1 is not refused"; fi
  tr '\n' ' ' <"$work/refusal" | sed 's/  */ /g' >"$work/reason" # CMake breaks lines
  grep -q -E "$2" "$work/reason" || {
    cat "$work/refusal" >&2
    fail "$1 is refused, but not because of '$2'"
  }
  echo "platform2: refused: $1"
}

build_platform good
build_platform other -DPLATFORM2_OTHER_LAYOUT=ON

# The same with the package that platform/README.md shows.
cp -r "$work/good" "$work/written"
rm -r "$work/written"/lib*/cmake/KVLplatform/*
package="$(echo "$work/written"/lib*/cmake/KVLplatform)"
awk -v package="$package" '/^```cmake$/ { getline; sub(",", "", $2); file = package "/" $2; on = 1 } /^```$/ { on = 0 }
  on { print > file }' "$tree/platform/README.md"

"$tree/platform/symbols.py" host "$work/good"/lib*/libhost_*.so
refused "a platform that exports too little" "lacks cow_String::Append" \
  "$tree/platform/symbols.py" host "$work/good"/lib*/libhost_mem.so

# The library on the second platform, and tests of both.
configure_library library written -DKVL_BUILD_TESTS=ON -DKVL_WERROR=ON
cmake --build "$work/library" --parallel "$(nproc)" --target KVLpersist platform_test errors_test
"$work/library/bin/platform_test" --gtest_brief=1
"$work/library/bin/errors_test" --gtest_brief=1

# The headers of the host were read, and none of the tree's platform but those that belong to the build.
ninja -C "$work/library" -t deps >"$work/deps"
grep -q -F "$work/written/include/platform/cow/cow_String.h" "$work/deps" || fail "the host's headers are not read"
if grep -E '/platform/.*\.h$' "$work/deps" | grep -v -F "/written/include/platform/" |
  grep -v -E '/platform/kvl_(Export|Layout|Loaded)\.h$' >&2; then
  fail "these headers of the tree's own platform are read"
fi

# Installed, and used by a program of the host.
cmake --install "$work/library" --prefix "$work/installed" >"$work/install.log"
configure -S "$here/program" -B "$work/program" -DCMAKE_PREFIX_PATH="$work/installed;$work/written"
cmake --build "$work/program"
run_program() { # the platform's name. CMake writes no path to libraries that are inside of the source tree.
  env LD_LIBRARY_PATH="$(dirname "$(echo "$work/$1"/lib*/libhost_cow.so)")" "$work/program/host_program"
}
run_program written

# Refused when the build is configured.
bytes='in KVLcow, cow_StringBuffer has 32 bytes, but KVLpersist was compiled with 24 bytes'
refused "libraries that do not fit their headers" "do not fit their headers: $bytes" configure_library with_other other -DKVL_BUILD_TESTS=OFF

cp -r "$work/good" "$work/wide" # a member more, in header and library alike, in a class whose size is promised
sed -i 's/^  cow_Counter\* m_Counter = nullptr;/&\n  void* m_Spare = nullptr;/' \
  "$work/wide/include/platform/cow/cow_CountedHld.h"
refused "a class that is larger than the contract allows" "a cow_CountedHld is two pointers wide" \
  configure_library with_wide wide -DKVL_BUILD_TESTS=OFF

cp -r "$work/good" "$work/old"
sed -i 's/PACKAGE_VERSION "1\.0"/PACKAGE_VERSION "0.9"/' "$work/old"/lib*/cmake/KVLplatform/*Version.cmake
refused "another version of the contract" 'compatible with requested version "1"' configure_library with_old old -DKVL_BUILD_TESTS=OFF

cp -r "$work/good" "$work/short"
rm "$work/short/include/platform/omni/omi_KeyOrder.h"
refused "a platform that lacks a header" "omi_KeyOrder.h: No such file" configure_library with_short short -DKVL_BUILD_TESTS=OFF

# Refused at the start: the libraries were exchanged after the build.
refused "a library that was exchanged after the build" \
  "host: refused: KVLpersist cannot start with the platform libraries that are loaded: $bytes" run_program other
echo "platform2: the library works on another platform, and refuses those that do not fit"
