# shellcheck shell=bash
# The service between host and backend, compared with a direct pipe and with programs that only copy
# or only cut lines.
# shellcheck disable=SC2154

# to_host MIB BYTES-IN-A-WRITE
to_host() {
  local options=(receive --greeting 1 --bytes $(($1 << 20)) --block "$2")
  local through=("${options[@]}" --watch 1 -- "$backend" '|')
  program service "$1" "${options[@]}" -- "$service"
  program 'direct pipe' "$1" "${options[@]}" -- "$backend"
  program 'relay with splice' "$1" "${through[@]}" "$splice_relay"
  program 'relay with read and write' "$1" "${through[@]}" "$relay"
  program cat "$1" "${through[@]}" cat
  peer pv 'pv -q' "$1" "${through[@]}" pv -q
  peer socat 'socat -u' "$1" "${through[@]}" socat -u - -
}

# to_backend LINE LINES LINES-OF-SED LINES-OF-MAWK: sed and mawk get fewer lines because they are
# slow: sed -u reads byte by byte, and mawk's time grows with the square of a line's length.
to_backend() {
  local options=(send --greeting 1 --line "$workspace/$1") lines=(--lines "$2" --)
  program service "$2" "${options[@]}" "${lines[@]}" "$service"
  program 'direct pipe' "$2" "${options[@]}" "${lines[@]}" "$backend"
  program 'line forwarder' "$2" "${options[@]}" "${lines[@]}" "$forwarder" '|' "$backend"
  program "grep --line-buffered ''" "$2" "${options[@]}" "${lines[@]}" \
    grep --line-buffered '' '|' "$backend"
  peer "$python3" python3 "$2" "${options[@]}" "${lines[@]}" "$python3" "$peers/forward.py" '|' "$backend"
  peer "$node" node "$2" "${options[@]}" "${lines[@]}" "$node" "$peers/forward.js" '|' "$backend"
  program 'sed -u' "$3" "${options[@]}" --lines "$3" -- sed -u '' '|' "$backend"
  peer mawk 'mawk -W interactive' "$4" "${options[@]}" --lines "$4" -- \
    mawk -W interactive '{print}' '|' "$backend"
}

echo_round_trip() {
  local trips options
  trips=$(amount 20000 4000)
  options=(exchange --greeting 1 --order echo --line "$workspace/line-of-200-bytes" --lines "$trips")
  program service "$trips" "${options[@]}" -- "$service"
  program direct "$trips" "${options[@]}" -- "$backend"
  program 'relay both ways' "$trips" "${options[@]}" -- "$duplex_relay" "$backend"
  program 'two relays' "$trips" "${options[@]}" -- "$relay" '|' "$backend" '|' "$relay"
  peer socat socat "$trips" "${options[@]}" -- socat - "EXEC:$backend,pipes"
}

echo_in_bulk() {
  local lines options
  lines=$(amount 400000 50000)
  options=(answer --greeting 1 --order echo --line "$workspace/line-of-200-bytes" --lines "$lines")
  program service "$lines" "${options[@]}" -- "$service"
  program direct "$lines" "${options[@]}" -- "$backend"
  program 'line forwarder, relay back' "$lines" "${options[@]}" -- \
    "$forwarder" '|' "$backend" '|' "$relay"
  program 'relay both ways' "$lines" "${options[@]}" -- "$duplex_relay" "$backend"
}

# events_in_flood PERCENT: that percentile of how long single events take.
events_in_flood() {
  local options
  options=(events-in-flood --greeting 1 --line "$workspace/line-of-200-bytes"
    --events "$(amount 2000 500)" --percent "$1")
  program service 1 "${options[@]}" -- "$service"
  program direct 1 "${options[@]}" -- "$backend"
  program 'relay both ways' 1 "${options[@]}" -- "$duplex_relay" "$backend"
}

median_in_flood() { events_in_flood 50; }
slowest_in_flood() { events_in_flood 99; }
bulk_to_host() { to_host "$(amount 1024 128)" 65536; }
events_to_host() { to_host "$(amount 128 32)" 300; }
short_lines_to_backend() { to_backend line-of-200-bytes "$(amount 400000 50000)" "$(amount 10000 1000)" "$(amount 100000 20000)"; }
long_lines_to_backend() { to_backend line-of-1-MiB "$(amount 1000 100)" 1 "$(amount 3 1)"; }

launch_with_backend
measure bulk_to_host 'Backend to host, 64 KiB writes' MiB/s \
  'figure >= 1.05 pv -q' 'figure >= 1.4 cat' 'processor <= 97.7'
measure events_to_host 'Backend to host, 300-byte events' MiB/s 'figure >= 1.1 cat'
measure short_lines_to_backend 'Host to backend, 200-byte lines' lines/s \
  'figure >= 0.9 line forwarder' "figure >= 1.15 grep --line-buffered ''"
measure long_lines_to_backend 'Host to backend, 1 MiB lines' lines/s \
  'figure >= 0.95 line forwarder' "figure >= 1.2 grep --line-buffered ''"
measure echo_in_bulk 'Echoed at full speed, 200-byte lines' lines/s 'figure >= 0.85 line forwarder, relay back'
measure median_in_flood "Event's way in flood, median" us 'figure <= 100'
measure slowest_in_flood "Event's way in flood, 99th percentile" us 'figure <= 1000'
measure echo_round_trip 'Round trip through a backend' us \
  'figure <= 3.1 direct' 'figure <= 0.85 socat'
