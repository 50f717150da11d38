#!/usr/bin/env bash
# Does what platform/README.md says: builds a second platform and the persistence library on it, and runs a host's
# program. Runs the tests of the platform on it, too. Then checks that platforms which do not fit are refused: when the
# build is configured, and when the program starts with another library than it was built with.
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

# The commands of platform/README.md, with the package that it shows. The tool chain asks for what compiles soonest.
ln -s "$tree" "$work/kvlpersist"
cat >"$work/quick.cmake" <<END
set(CMAKE_CXX_FLAGS_RELEASE "-O0" CACHE STRING "")
set(CMAKE_UNITY_BUILD ON)
set(CMAKE_UNITY_BUILD_BATCH_SIZE 16)
set(CMAKE_CXX_COMPILER_LAUNCHER "$launcher" CACHE STRING "")
set(KVL_WERROR ON CACHE BOOL "")
END
awk '/^```sh$/ { on = 1; next } /^```$/ { on = 0 } on' "$tree/platform/README.md" >"$work/commands"
run_commands() { # from the standard input
  (cd "$work" && CXX="$compiler" CMAKE_GENERATOR=Ninja CMAKE_BUILD_PARALLEL_LEVEL="$(nproc)" \
    CMAKE_TOOLCHAIN_FILE="$work/quick.cmake" bash -euxo pipefail)
}
sed '/--install host-build/q' "$work/commands" | run_commands
package="$(echo "$work/host"/lib*/cmake/KVLplatform)"
rm -r "$package"/*
awk -v package="$package" '/^```cmake$/ { getline; sub(",", "", $2); file = package "/" $2; on = 1 } /^```$/ { on = 0 }
  on { print > file }' "$tree/platform/README.md"
sed '1,/--install host-build/d' "$work/commands" | run_commands
build_platform other -DPLATFORM2_OTHER_LAYOUT=ON

refused "a platform that exports too little" "lacks cow_String::Append" \
  "$tree/platform/symbols.py" host "$work/host"/lib*/libhost_mem.so

# The tests of the platform, and of the library on it.
cmake -B "$work/kvl-build" -DKVL_BUILD_TESTS=ON
cmake --build "$work/kvl-build" --parallel "$(nproc)" --target platform_test errors_test
"$work/kvl-build/bin/platform_test" --gtest_brief=1
"$work/kvl-build/bin/errors_test" --gtest_brief=1

# The headers of the host were read, and none of the tree's platform but those that belong to the build.
ninja -C "$work/kvl-build" -t deps >"$work/deps"
grep -q -F "$work/host/include/platform/cow/cow_String.h" "$work/deps" || fail "the host's headers are not read"
if grep -E '/platform/.*\.h$' "$work/deps" | grep -v -F "/host/include/platform/" |
  grep -v -E '/platform/kvl_(Export|Layout|Loaded)\.h$' >&2; then
  fail "these headers of the tree's own platform are read"
fi

run_program() { # the platform's name. CMake writes no path to libraries that are inside of the source tree.
  env LD_LIBRARY_PATH="$(dirname "$(echo "$work/$1"/lib*/libhost_cow.so)")" "$work/program/host_program"
}
run_program host

# Refused when the build is configured.
bytes='in KVLcow, cow_StringBuffer has 32 bytes, but KVLpersist was compiled with 24 bytes'
refused "libraries that do not fit their headers" "do not fit their headers: $bytes" configure_library with_other other -DKVL_BUILD_TESTS=OFF

cp -r "$work/host" "$work/wide" # a member more, in header and library alike, in a class whose size is promised
sed -i 's/^  cow_Counter\* m_Counter = nullptr;/&\n  void* m_Spare = nullptr;/' \
  "$work/wide/include/platform/cow/cow_CountedHld.h"
refused "a class that is larger than the contract allows" "a cow_CountedHld is two pointers wide" \
  configure_library with_wide wide -DKVL_BUILD_TESTS=OFF

cp -r "$work/host" "$work/old"
sed -i 's/PACKAGE_VERSION 1\.0/PACKAGE_VERSION 0.9/; s/EQUAL 1)/EQUAL 0)/' "$work/old"/lib*/cmake/KVLplatform/*Version.cmake
refused "another version of the contract" 'compatible with requested version "1"' configure_library with_old old -DKVL_BUILD_TESTS=OFF

cp -r "$work/host" "$work/short"
rm "$work/short/include/platform/omni/omi_KeyOrder.h"
refused "a platform that lacks a header" "omi_KeyOrder.h: No such file" configure_library with_short short -DKVL_BUILD_TESTS=OFF

# Refused at the start: the libraries were exchanged after the build.
refused "a library that was exchanged after the build" \
  "host: refused: KVLpersist cannot start with the platform libraries that are loaded: $bytes" run_program other
echo "platform2: the library works on another platform, and refuses those that do not fit"
