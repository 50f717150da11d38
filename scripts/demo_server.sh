#!/usr/bin/env bash
# The analysis of scripts/demo.sh with its store on the server in KVL_POSTGRES. scripts/demo.sh --server calls it.
set -euo pipefail

bin="$1"
store="$KVL_POSTGRES#bracket"
copy=build/demo/bracket-copy.kvs
mkdir -p build/demo
rm -f "$copy"

echo "1. Analyse the bracket and save it on a server: $store"
"$bin"/heat analyse examples/heat/data/bracket.msh --store "$store"

echo
echo "2. Read the store in another process, which computes again and compares"
"$bin"/heat report "$store"

echo
echo "3. What kvlstore, which knows none of these classes, says of it"
"$bin"/kvlstore info "$store"
"$bin"/kvlstore check --full "$store"

echo
echo "4. Copy the store from the server to a file. Both have the same sum"
"$bin"/kvlstore copy "$store" "$copy"
sum() { "$bin"/kvlstore info "$1" | sed -n 's/^sum *//p'; }
[[ -n "$(sum "$copy")" && "$(sum "$copy")" == "$(sum "$store")" ]] || {
  echo "demo: the sums differ" >&2
  exit 1
}
"$bin"/heat report "$copy" | tail -n 3
