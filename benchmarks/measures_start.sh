# shellcheck shell=bash
# The time from start to the first output.
# shellcheck disable=SC2154

start_to_hello() {
  local runs options
  runs=$(amount 200 40)
  options=(--runs "$runs" --)
  launch_as_stub
  program service 1 start-to-first-byte --first '{"hello"' "${options[@]}" "$service"
  program 'simdjson responder' 1 start-to-first-byte --first '{"hello"' "${options[@]}" "$simdjson_responder"
  program '/bin/true, to its end' 1 start-to-end "${options[@]}" "$(type -P true)"
  program 'cat </dev/null, to its end' 1 start-to-end "${options[@]}" cat
  peer "$python3" python3 1 start-to-first-byte --runs 5 -- "$python3" "$peers/stub.py"
  peer "$node" node 1 start-to-first-byte --runs 5 -- "$node" "$peers/stub.js"
}

start_to_backend() {
  local options
  options=(start-to-first-byte --first ready --runs "$(amount 200 40)" --)
  launch_with_backend
  program service 1 "${options[@]}" "$service"
  program 'backend alone' 1 "${options[@]}" "$backend"
  program 'relay both ways' 1 "${options[@]}" "$duplex_relay" "$backend"
}

measure start_to_hello "Start to first byte of hello" us 'figure <= 1.0 /bin/true, to its end'
measure start_to_backend "Start to backend's first byte" us 'figure <= 2.1 backend alone'
