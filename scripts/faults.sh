#!/bin/sh
# Runs the fault campaign: all programs that try to lose data. Prints one line for each: what was done, how
# often, what was lost, what is silently wrong, and the seconds it took. Fails if anything is lost or silently
# wrong.
#
#   scripts/faults.sh [--short] [BUILD_FOLDER]
#
# --short is for each commit (about a minute); the full form takes some minutes. Findings go to standard
# error. Two programs run at a time.
set -u
cd "$(dirname "$0")/.."
short=""
if [ "${1:-}" = "--short" ]; then
  short="--short"
  shift
fi
bin="${1:-build/dev}/bin"
out="$(mktemp -d)"
trap 'rm -rf "$out"' EXIT
status=0

# Runs the given programs one after the other; writes their lines, findings and exit codes to files.
run() {
  for program in "$@"; do
    name="${program%%:*}"
    options="$(printf '%s' "${program#*:}" | tr ':' ' ')"
    # shellcheck disable=SC2086 # options are several words
    "$bin/$name" $short $options >"$out/$program.line" 2>"$out/$program.findings"
    echo $? >"$out/$program.code"
  done
}

if [ -n "$short" ]; then
  first="faults_damage: faults_memory:"
  second="faults_model: faults_kills: faults_creators: faults_power: faults_flips:"
else
  first="faults_damage: faults_model:--seeds:201..400"
  second="faults_memory: faults_model:--seeds:1..200 faults_kills: faults_creators: faults_power: faults_flips:"
fi
# shellcheck disable=SC2086 # a list of words
run $first &
pid=$!
# shellcheck disable=SC2086
run $second
wait $pid
for program in $second $first; do
  cat "$out/$program.line"
  if [ "$(cat "$out/$program.code")" != 0 ]; then
    [ -s "$out/$program.line" ] || echo "$program did not finish"
    cat "$out/$program.findings" >&2
    status=1
  fi
done
exit $status
