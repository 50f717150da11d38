#!/bin/sh
# Looks for bytes that the readers of stored forms cannot stand: records with nested values, shapes, packs, lists of
# ids, blocks, rows of blocks, maps in chunks and lists of changes, behind right checksums. Adds what it learns to tests/fuzz/corpus.txt. Fails, and leaves the
# input in build/fuzz, if it finds any. Needs Clang's libFuzzer.
#
#   scripts/fuzz.sh [SECONDS]     60 if not given
set -eu
cd "$(dirname "$0")/.."
seconds="${1:-60}"
cmake --preset fuzz -DKVL_BUILD_EXAMPLES=OFF >build-fuzz.log 2>&1 || { cat build-fuzz.log; rm build-fuzz.log; exit 1; }
rm build-fuzz.log
cmake --build build/fuzz --parallel 2 --target fuzz_forms
folder="$(mktemp -d)"
trap 'rm -rf "$folder"' EXIT
mkdir "$folder/old" "$folder/new" "$folder/least"
python3 scripts/fuzz_corpus.py unpack tests/fuzz/corpus.txt "$folder/old"
status=0
build/fuzz/bin/fuzz_forms -max_len=400 -max_total_time="$seconds" -artifact_prefix=build/fuzz/ \
  -print_final_stats=1 "$folder/new" "$folder/old" >"$folder/log" 2>&1 || status=$?
if [ "$status" -ne 0 ]; then
  tail -n 60 "$folder/log"
  exit "$status"
fi
tail -n 12 "$folder/log"
build/fuzz/bin/fuzz_forms -merge=1 -max_len=400 "$folder/least" "$folder/old" "$folder/new" 2>/dev/null
python3 scripts/fuzz_corpus.py pack "$folder/least" tests/fuzz/corpus.txt
wc -l tests/fuzz/corpus.txt
