#!/bin/sh
# Runs the fault campaign: all programs that try to lose data. One line for each: what was done, how often, what
# was lost, what is silently wrong, and the seconds that it took. Fails when anything is lost or silently wrong.
#
#   scripts/faults.sh [--short] [BUILD_FOLDER]
#
# --short is for each commit (about a minute); the full form takes some minutes. Findings go to the standard error
# stream. Two programs run at once.
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

# Runs the given programs one after the other; their lines, findings and exit codes go to files.
run() {
  for spec in "$@"; do
    name="${spec%%:*}"
    options="$(printf '%s' "${spec#*:}" | tr ':' ' ')"
    # shellcheck disable=SC2086 # several options in one word
    "$bin/$name" $short $options >"$out/$spec.line" 2>"$out/$spec.findings"
    echo $? >"$out/$spec.code"
  done
}

if [ -n "$short" ]; then
  first="faults_damage: faults_memory:"
  second="faults_model: faults_kills: faults_creators: faults_power:"
else
  first="faults_damage: faults_model:--seeds:201..400"
  second="faults_memory: faults_model:--seeds:1..200 faults_kills: faults_creators: faults_power:"
fi
# shellcheck disable=SC2086 # lists of words
run $first &
pid=$!
# shellcheck disable=SC2086
run $second
wait $pid
for spec in $second $first; do
  cat "$out/$spec.line"
  if [ "$(cat "$out/$spec.code")" != 0 ]; then
    [ -s "$out/$spec.line" ] || echo "$spec did not finish"
    cat "$out/$spec.findings" >&2
    status=1
  fi
done
exit $status
