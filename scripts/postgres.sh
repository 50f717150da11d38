#!/usr/bin/env bash
# Starts a PostgreSQL server of its own in a temporary folder, on a local socket, runs a command with KVL_POSTGRES set to
# where it is, and stops it by its process id.
#   scripts/postgres.sh build/dev/bin/server_contract
set -euo pipefail

bin="$(ls -d /usr/lib/postgresql/*/bin 2>/dev/null | sort -V | tail -1)"
if [[ -z "$bin" ]]; then
  echo "postgres.sh: PostgreSQL is not installed; scripts/setup.sh installs it" >&2
  exit 2
fi
folder="$(mktemp -d)"
server=""
as_owner=()
if ((EUID == 0)); then # PostgreSQL refuses to run as root
  as_owner=(setpriv --reuid=nobody --regid=nogroup --clear-groups --)
  chown nobody:nogroup "$folder"
fi
stop() {
  if [[ -n "$server" ]]; then
    kill -INT "$server" 2>/dev/null || true
    wait "$server" 2>/dev/null || true
  fi
  rm -rf "$folder"
}
trap stop EXIT

"${as_owner[@]}" "$bin/initdb" -D "$folder/data" -U kvl -A trust -E UTF8 --no-locale --no-sync >"$folder/log" 2>&1 ||
  { cat "$folder/log" >&2; exit 1; }
"${as_owner[@]}" "$bin/postgres" -D "$folder/data" -k "$folder" -c listen_addresses= -c fsync="${KVL_POSTGRES_FSYNC:-off}" \
  >>"$folder/log" 2>&1 &
server=$!
for ((i = 0; i < 100; ++i)); do
  if "$bin/pg_isready" -q -h "$folder" -U kvl; then break; fi
  if ! kill -0 "$server" 2>/dev/null; then
    cat "$folder/log" >&2
    exit 1
  fi
  sleep 0.1
done
KVL_POSTGRES="postgresql:///postgres?host=$folder&user=kvl" "$@"
