# shellcheck shell=bash
# Peak resident memory.
# shellcheck disable=SC2154

if [ ! -r /proc/self/status ]; then
  printf '\nMemory: skipped, this system does not report the peak memory of another process\n'
  return
fi
write_long_lines

# Relays are measured after they have passed on one line.
idle_stub() {
  local options=(exchange --line "$workspace/connect")
  launch_as_stub
  program 'service' 1 "${options[@]}" --greeting 2 --lines 0 -- "$service"
  program 'simdjson responder' 1 "${options[@]}" --greeting 2 --lines 0 -- "$simdjson_responder"
  program cat 1 "${options[@]}" -- cat
  peer socat socat 1 "${options[@]}" -- socat -u - -
  peer "$python3" python3 1 "${options[@]}" --greeting 2 --lines 0 -- "$python3" "$peers/stub.py"
  peer "$node" node 1 "${options[@]}" --greeting 2 --lines 0 -- "$node" "$peers/stub.js"
}

idle_relay() {
  local options=(exchange --greeting 1 --order echo --line "$workspace/connect")
  launch_with_backend
  program 'service' 1 "${options[@]}" -- "$service"
  program cat 1 exchange --line "$workspace/connect" -- cat
  peer socat 'socat, both ways' 1 "${options[@]}" -- socat - "EXEC:$backend,pipes"
}

relayed() {
  local mib options through
  mib=$(amount 1024 256)
  options=(receive --greeting 1 --bytes $((mib << 20)))
  through=("${options[@]}" --watch 1 -- "$backend" '|')
  launch_with_backend
  program service 1 "${options[@]}" -- "$service"
  program cat 1 "${through[@]}" cat
  peer socat socat 1 "${through[@]}" socat -u - -
  peer "$python3" python3 1 "${through[@]}" "$python3" "$peers/forward.py"
  peer "$node" node 1 "${through[@]}" "$node" "$peers/forward.js"
}

requests() {
  local many few options=(answer --line "$workspace/text")
  many=$(amount 1000000 100000)
  few=$(amount 100000 5000)
  launch_as_stub
  program service 1 "${options[@]}" --greeting 2 --lines "$many" -- "$service"
  program 'simdjson responder' 1 "${options[@]}" --greeting 2 --lines "$many" -- "$simdjson_responder"
  program 'cat, returning them' 1 "${options[@]}" --lines "$many" -- cat
  peer socat 'socat, returning them' 1 "${options[@]}" --lines "$many" -- socat -u - -
  peer "$python3" "python3, $few" 1 "${options[@]}" --greeting 2 --lines "$few" -- "$python3" "$peers/stub.py"
  peer "$node" "node, $few" 1 "${options[@]}" --greeting 2 --lines "$few" -- "$node" "$peers/stub.js"
}

long_attachment() {
  local options=(exchange --greeting 2 --line "$workspace/long-attachment")
  launch_as_stub
  program service 1 "${options[@]}" -- "$service"
  program 'simdjson responder' 1 "${options[@]}" -- "$simdjson_responder"
  peer "$python3" python3 1 "${options[@]}" -- "$python3" "$peers/stub.py"
  peer "$node" node 1 "${options[@]}" -- "$node" "$peers/stub.js"
}

long_line() {
  local options=(send --greeting 1 --line "$workspace/long-line" --)
  launch_with_backend
  program service 1 "${options[@]}" "$service"
  program 'line forwarder' 1 "${options[@]}" "$forwarder" '|' "$backend"
  program "grep --line-buffered ''" 1 "${options[@]}" grep --line-buffered '' '|' "$backend"
}

# times FACTOR FILE: a limit in MiB, as a multiple of the line's size.
times() { awk -v factor="$1" -v size="$(wc -c <"$workspace/$2")" 'BEGIN { print factor * size / 1048576 }'; }

measure idle_stub 'Memory, idle without a backend' MiB 'figure <= 1.0 cat' 'figure <= 1.5'
measure idle_relay 'Memory, idle with a backend' MiB 'figure <= 1.0 cat' 'figure <= 1.5'
measure relayed "Memory, $(amount 1024 256) MiB relayed" MiB 'figure <= 1.0 cat' 'figure <= 1.5'
measure requests "Memory, $(amount 1000000 100000) requests" MiB \
  'figure <= 1.0 cat, returning them' 'figure <= 1.5'
measure long_attachment 'Memory, 64 MiB attachment' MiB "figure <= $(times 1.15 long-attachment)"
measure long_line 'Memory, 64 MiB line forwarded' MiB "figure <= $(times 1.2 long-line)"
