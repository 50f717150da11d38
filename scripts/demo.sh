#!/usr/bin/env bash
# The demonstration: one process computes the heat in a bracket and saves the whole analysis in a store file; a
# second process, which shares nothing with the first but that file, rebuilds, verifies and plots it. Then a store
# of an old program is read by newer ones, failed runs tell their reasons in another process, and a run over time that
# is killed goes on from its last checkpoint.
#
#   scripts/demo.sh              builds the programs first
#   scripts/demo.sh build/dev    takes those of a finished build
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

out=build/demo
store="$out/bracket.kvs"
plot="$out/bracket.svg"
log="$out/build.log"

fail() {
  printf 'demo: %s\n' "$1" >&2
  exit 1
}

logged() {
  "$@" >>"$log" 2>&1 || {
    tail -n 40 "$log" >&2
    fail "the build failed; all of its output is in $log"
  }
}

mkdir -p "$out"
rm -f "$store" "$out"/{hall,bridge,whole,killed}.kvs "$out"/{whole,killed}.kvs-journal "$log"
if (($# == 0)); then
  bin=build/release/bin
  scripts/setup.sh
  echo "Building (the first time takes some minutes; output in $log) ..."
  logged cmake --preset release
  logged cmake --build --preset release --target heat evolution_v1 evolution_v2 evolution_v3 failures \
    --parallel "$(nproc)"
else
  bin="$1/bin"
  [[ -x "$bin/heat" ]] || fail "there is no $bin/heat; build it first, or call demo.sh without a folder"
fi

echo
echo "1. Analyse the bracket and save it in $store"
"$bin"/heat analyse examples/heat/data/bracket.msh --store "$store"

echo
echo "2. Read the store in another process and plot the result"
"$bin"/heat report "$store" --plot "$plot"

[[ -s "$plot" ]] || fail "there is no plot in $plot"
echo
echo "3. A store that version 1 of a program wrote, read by versions 2 and 3"
"$bin"/evolution_v1 write "$out/hall.kvs"
"$bin"/evolution_v2 read "$out/hall.kvs"
"$bin"/evolution_v3 read "$out/hall.kvs"

echo
echo "4. Analyses that fail, and a second process that lists why"
"$bin"/failures run "$out/bridge.kvs"
"$bin"/failures list "$out/bridge.kvs"

echo
echo "5. A run over time is killed, resumed from its last checkpoint, and compared with a whole one"
mesh=examples/heat/data/bracket.msh
run_options=(--steps 8000 --dt 0.25 --checkpoint 500)
"$bin"/heat transient "$mesh" --store "$out/whole.kvs" "${run_options[@]}" --memory | tail -n 3
: >"$out/killed.log"
"$bin"/heat transient "$mesh" --store "$out/killed.kvs" "${run_options[@]}" >"$out/killed.log" &
run=$!
for ((i = 0; i < 1000; i++)); do
  (($(wc -l <"$out/killed.log") >= 3)) && break
  sleep 0.01
done
kill -KILL "$run" 2>/dev/null || true
wait "$run" 2>/dev/null && fail "the run came to its end before it could be killed"
echo "killed after: $(tail -n 1 "$out/killed.log")"
"$bin"/heat resume "$out/killed.kvs" --memory | grep -v '^checkpoint'
"$bin"/heat compare "$out/whole.kvs" "$out/killed.kvs"
"$bin"/heat history "$out/killed.kvs" --plot "$out/history.svg"
[[ -s "$out/history.svg" ]] || fail "there is no plot in $out/history.svg"

echo
echo "The plots: $PWD/$out/history.svg and $PWD/$plot"
