# shellcheck shell=bash
# How many instructions a line takes in user mode. Nearly the same in every run, so one is enough.
# shellcheck disable=SC2154

if ! command -v valgrind >/dev/null; then
  printf '\nInstructions: skipped, because valgrind is not installed\n'
  return
fi

# repeated FILE TIMES: that line as often.
repeated() { awk -v times="$2" '{ for (i = 0; i < times; ++i) print }' "$workspace/$1"; }

connects() { repeated connect "$1"; }
messages() { repeated text "$1"; }
lines_for_backend() {
  printf 'swallow %d\n' $((200 * $1))
  repeated line-of-200-bytes "$1"
}

# stub_instructions INPUT ANSWER...
stub_instructions() {
  local lines
  lines=$(amount 10000 2000)
  launch_as_stub
  instructions service "$lines" "$1" "$service"
  instructions 'constant responder' "$lines" "$1" "$responder" "${@:2}"
  instructions 'simdjson responder' "$lines" "$1" "$simdjson_responder"
}

forwarding_instructions() {
  local lines
  lines=$(amount 10000 2000)
  launch_with_backend
  instructions service "$lines" lines_for_backend "$service"
  instructions 'line forwarder' "$lines" lines_for_backend "$forwarder"
}

connect_instructions() { stub_instructions connects "$connecting" "$connected"; }
message_instructions() { stub_instructions messages "$echoed"; }

measure connect_instructions 'Instructions, connect' instr. 'figure <= 2200'
measure message_instructions 'Instructions, sendMessage of 200 bytes' instr. 'figure <= 5000'
measure forwarding_instructions 'Instructions, 200-byte line forwarded' instr.
