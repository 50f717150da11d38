#!/usr/bin/env bash
# The demonstration. One process computes the heat flow in a bracket and saves the whole analysis to a store file; a
# second process, which shares only that file with the first, rebuilds, verifies and plots it. Then newer programs read
# a store of an older one, another process lists why runs failed, and a transient run that was killed continues from
# its last checkpoint. At last kvlstore, which knows none of these classes, shows the stores and writes a report.
#
#   scripts/demo.sh              builds the programs first
#   scripts/demo.sh build/dev    uses those of a finished build
#   scripts/demo.sh --server     the analysis only, with its store on a PostgreSQL server in a temporary folder. A folder
#                                may follow.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

is_on_server=0
if [[ "${1:-}" == --server ]]; then
  is_on_server=1
  shift
fi
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
rm -f "$store" "$out"/{hall,bridge,whole,killed}.kvs "$out"/{whole,killed}.kvs-journal "$out"/report.html "$log"
if (($# == 0)); then
  bin=build/release/bin
  scripts/setup.sh
  echo "Building (the first time takes some minutes; output in $log) ..."
  logged cmake --preset release
  logged cmake --build --preset release --target heat evolution_v1 evolution_v2 evolution_v3 failures kvlstore \
    --parallel "$(nproc)"
else
  bin="$1/bin"
  [[ -x "$bin/heat" ]] || fail "there is no $bin/heat; build it first, or call demo.sh without a folder"
fi

if ((is_on_server)); then
  echo
  exec scripts/postgres.sh scripts/demo_server.sh "$bin"
fi

echo
echo "1. Analyse the bracket and save it in $store"
"$bin"/heat analyse examples/heat/data/bracket.msh --store "$store"

echo
echo "2. Read the store in another process and plot the result"
"$bin"/heat report "$store" --plot "$plot"

[[ -s "$plot" ]] || fail "no plot in $plot"
echo
echo "3. A store that version 1 of a program wrote, read by versions 2 and 3"
"$bin"/evolution_v1 write "$out/hall.kvs"
"$bin"/evolution_v2 read "$out/hall.kvs"
"$bin"/evolution_v3 read "$out/hall.kvs"

echo
echo "4. Analyses that fail, and a second process that lists the reasons"
"$bin"/failures run "$out/bridge.kvs"
"$bin"/failures list "$out/bridge.kvs"

echo
echo "5. A transient run is killed, resumed from its last checkpoint, and compared with a complete one"
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
wait "$run" 2>/dev/null && fail "the run ended before it could be killed"
echo "killed after: $(tail -n 1 "$out/killed.log")"
"$bin"/heat resume "$out/killed.kvs" --memory | grep -v '^checkpoint'
"$bin"/heat compare "$out/whole.kvs" "$out/killed.kvs"
"$bin"/heat history "$out/killed.kvs" --plot "$out/history.svg"
[[ -s "$out/history.svg" ]] || fail "no plot in $out/history.svg"

echo
echo "6. Looking into the stores without the programs' classes"
"$bin"/kvlstore show "$store" analysis/steady-heat.m_MaterialList[0]
"$bin"/kvlstore plot "$out/killed.kvs" analysis/transient-heat.m_History --column 700 --height 8
"$bin"/kvlstore diff "$out/whole.kvs" "$out/killed.kvs" && echo "the two runs are equal"
"$bin"/kvlstore report "$store" -o "$out/report.html"
[[ -s "$out/report.html" ]] || fail "no report in $out/report.html"

echo
echo "The report, for any browser: $PWD/$out/report.html"
echo "The plots: $PWD/$out/history.svg and $PWD/$plot"
