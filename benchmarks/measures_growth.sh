# shellcheck shell=bash
# Whether time grows linearly with the number of lines and with the length of a line.
# shellcheck disable=SC2154

write_long_lines

stub_lines() {
  local few options=(answer --greeting 2 --line "$workspace/text")
  few=$(amount 100000 20000)
  launch_as_stub
  program "$((10 * few)) requests" $((10 * few)) "${options[@]}" --lines $((10 * few)) -- "$service"
  program "$few requests" "$few" "${options[@]}" --lines "$few" -- "$service"
}

relay_lines() {
  local few options=(send --greeting 1 --line "$workspace/line-of-200-bytes")
  few=$(amount 100000 20000)
  launch_with_backend
  program "$((10 * few)) lines" $((10 * few)) "${options[@]}" --lines $((10 * few)) -- "$service"
  program "$few lines" "$few" "${options[@]}" --lines "$few" -- "$service"
}

# Each in a new process, so that memory has to be allocated for both.
stub_long_line() {
  local options=(exchange --greeting 2 --block 4096)
  launch_as_stub
  program 'a line of 64 MiB' 64 "${options[@]}" --line "$workspace/long-attachment" -- "$service"
  program 'a line of 1 MiB' 1 "${options[@]}" --line "$workspace/attachment" -- "$service"
  program '64 lines of 1 MiB' 64 "${options[@]}" --line "$workspace/attachment" --lines 64 -- "$service"
}

relay_long_line() {
  local options=(send --greeting 1 --block 4096)
  launch_with_backend
  program 'a line of 64 MiB' 64 "${options[@]}" --line "$workspace/long-line" -- "$service"
  program 'a line of 1 MiB' 1 "${options[@]}" --line "$workspace/line-of-1-MiB" -- "$service"
  program '64 lines of 1 MiB' 64 "${options[@]}" --line "$workspace/line-of-1-MiB" --lines 64 -- "$service"
}

# The limit of 1.1 allows for noise.
few=$(amount 100000 20000)
measure stub_lines 'Growth, requests to the stub' us "figure <= 1.1 $few requests"
measure relay_lines 'Growth, lines to the backend' us "figure <= 1.1 $few lines"
measure stub_long_line 'Growth, stub, a MiB in 4 KiB writes' us 'figure <= 1.1 a line of 1 MiB'
measure relay_long_line 'Growth, relay, a MiB in 4 KiB writes' us 'figure <= 1.1 a line of 1 MiB'
