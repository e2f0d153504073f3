#!/usr/bin/env bash
# Runs the smallest host with the Python interpreter $1 and the service $2: with the stub, with the
# example backend $3 where there is one, and with the smallest backend.
set -euo pipefail
python=$1 service=$2 example_backend=${3:-}
cd "$(dirname "$0")/.."
data=$(mktemp -d)
trap 'rm -rf "$data"' EXIT
export FERNCREST_MANAGED_BRIDGE_DATA_DIR=$data

# expect BACKEND LINE...: the host prints these lines when the service is started with this backend.
expect() {
  export FERNCREST_MANAGED_BRIDGE_BACKEND_PATH=$1
  diff <(printf '%s\n' "${@:2}") <("$python" examples/smallest_host.py "$service")
}

[[ $(<docs/operation.md) == *"$(<examples/smallest_host.py)"* ]] ||
  { echo 'docs/operation.md shows another host.' >&2 && exit 1; }
expect no/such/backend 'Answered by managed-process-3' 'Received echo: Dinner is ready'
for count in ${example_backend:+1 2}; do
  expect "$example_backend" 'Answered by example-backend-1' 'Received echo: Dinner is ready'
  diff <(echo "$count") "$data/sent-messages"
done
command -v jq >/dev/null || { echo 'Skipped: jq is not installed' && exit 77; }
expect examples/smallest_backend.sh 'Answered by smallest-1' 'Received Dinner is ready'
