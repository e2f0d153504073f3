#!/usr/bin/env bash
# Runs the smallest host with the Python interpreter $1 and the service $2: with the stub, and with
# the smallest backend.
set -euo pipefail
cd "$(dirname "$0")/.."
command -v jq >/dev/null || { echo 'Skipped: jq is not installed' && exit 77; }
data=$(mktemp -d)
trap 'rm -rf "$data"' EXIT
export FERNCREST_MANAGED_BRIDGE_DATA_DIR=$data

# expect BACKEND LINE...: the host prints these lines when the service is started with this backend.
expect() {
  export FERNCREST_MANAGED_BRIDGE_BACKEND_PATH=$1
  diff <(printf '%s\n' "${@:2}") <("$python" examples/smallest_host.py "$service")
}

python=$1 service=$2
expect no/such/backend 'Answered by managed-process-3' 'Received echo: Dinner is ready'
expect examples/smallest_backend.sh 'Answered by smallest-1' 'Received Dinner is ready'
if [[ $(<docs/operation.md) != *"$(<examples/smallest_host.py)"* ]]; then
  echo 'docs/operation.md shows another host.' >&2
  exit 1
fi
