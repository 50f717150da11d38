#!/usr/bin/env bash
# Installs what is needed to build, test and measure, on Debian and its derivatives. Prints and changes nothing if
# everything is installed.
#
#   scripts/setup.sh           the build, the tests, the examples and the benchmarks
#   scripts/setup.sh --lint    also what scripts/lint.sh and the sanitizers need
set -euo pipefail

packages=(
  g++ cmake ninja-build ccache # the build
  libsqlite3-dev libxxhash-dev liblz4-dev # the database module
  sqlite3                      # looking into stores
  libgtest-dev libeigen3-dev python3 python3-xxhash python3-lz4 git # the tests
  libcli11-dev nlohmann-json3-dev libfmt-dev # the tools, and the examples, which need Eigen, too
  chromium chromium-driver python3-selenium # the test of reports in a browser
  libpq-dev postgresql openssl # stores on a server, which scripts/postgres.sh starts
  libbenchmark-dev libboost-dev libboost-serialization-dev libcereal-dev libhdf5-dev # the benchmarks
)

if [[ "${1:-}" == --lint ]]; then
  packages+=(clang-14 clang-format-14 clang-tidy-14)
  packages+=(libclang-rt-14-dev llvm) # the sanitizers; llvm-symbolizer, for the lines in their reports
fi

fail() {
  printf 'setup: %s\n' "$1" >&2
  exit 1
}

is_installed() { # a package can be installed for several architectures, each with its status
  [[ " $(dpkg-query -W -f='${db:Status-Status} ' "$1" 2>/dev/null)" == *" installed "* ]]
}

command -v dpkg-query >/dev/null 2>&1 ||
  fail "this is not a Debian system; install the equivalents of these packages, then build: ${packages[*]}"

missing=()
for package in "${packages[@]}"; do
  is_installed "$package" || missing+=("$package")
done
((${#missing[@]} > 0)) || exit 0

as_root=()
if ((EUID != 0)); then
  command -v sudo >/dev/null 2>&1 ||
    fail "needs root to install: ${missing[*]} (run it as root, or install sudo)"
  as_root=(sudo)
fi

printf 'setup: installing %s\n' "${missing[*]}"
log="$(mktemp)"
trap 'rm -f "$log"' EXIT
run_apt() {
  local command=(apt-get -qq -o Dpkg::Use-Pty=0 -o DPkg::Lock::Timeout=120 "$@")
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive "${command[@]}" >"$log" 2>&1 </dev/null || {
    cat "$log" >&2
    fail "apt-get $1 failed; still missing: ${missing[*]}"
  }
}
# The tests start servers of their own: Debian's package must not start one, too.
if [[ " ${missing[*]} " == *" postgresql "* ]]; then
  "${as_root[@]}" mkdir -p /etc/postgresql-common/createcluster.d
  echo "create_main_cluster = false" |
    "${as_root[@]}" tee /etc/postgresql-common/createcluster.d/kvlpersist.conf >/dev/null
fi
run_apt update
run_apt install --yes --no-install-recommends "${missing[@]}"

for package in "${missing[@]}"; do
  is_installed "$package" || fail "$package is still missing after the installation"
done
