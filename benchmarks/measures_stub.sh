# shellcheck shell=bash
# The stub's answers, compared with a program that answers every line with the same bytes, and with
# programs that parse the line.
# shellcheck disable=SC2154

# stub_programs DRIVER-MEASURE LINE ANSWERS LINES LINES-OF-SLOW-PEERS: runs service and peers.
stub_programs() {
  local options=(--greeting 2 --line "$workspace/$2" --answers "$3") answers=("$echoed")
  [ "$3" -eq 1 ] || answers=("$connecting" "$connected")
  program service "$4" "$1" "${options[@]}" --lines "$4" -- "$service"
  program 'constant responder' "$4" "$1" "${options[@]}" --lines "$4" -- "$responder" "${answers[@]}"
  program 'simdjson responder' "$4" "$1" "${options[@]}" --lines "$4" -- "$simdjson_responder"
  peer "$node" node "$5" "$1" "${options[@]}" --lines "$5" -- "$node" "$peers/stub.js"
  peer "$python3" python3 "$5" "$1" "${options[@]}" --lines "$5" -- "$python3" "$peers/stub.py"
  peer jq jq "$5" "$1" "${options[@]}" --lines "$5" -- jq -n -c --unbuffered -f "$peers/stub.jq"
}

connect_in_bulk() { stub_programs answer connect 2 "$(amount 200000 50000)" "$(amount 20000 5000)"; }
send_message() { stub_programs answer text 1 "$(amount 200000 50000)" "$(amount 20000 5000)"; }
send_attachment() { stub_programs answer attachment 1 "$(amount 200 50)" "$(amount 100 20)"; }
connect_round_trip() { stub_programs exchange connect 2 "$(amount 50000 10000)" "$(amount 10000 2000)"; }
message_round_trip() { stub_programs exchange text 1 "$(amount 50000 10000)" "$(amount 10000 2000)"; }

launch_as_stub
measure connect_in_bulk 'Stub, connect in bulk' requests/s 'figure >= 1.0 simdjson responder'
measure send_message 'Stub, sendMessage of 200 bytes' requests/s 'figure >= 1.5 simdjson responder'
measure send_attachment 'Stub, sendMessage with 1 MiB' requests/s 'figure >= 1.5 simdjson responder' \
  'figure >= 0.45 constant responder' 'figure >= 10 node'
measure connect_round_trip 'Stub, round trip of connect' us 'figure <= 1.0 simdjson responder'
measure message_round_trip 'Stub, round trip of sendMessage' us 'figure <= 1.0 simdjson responder'
