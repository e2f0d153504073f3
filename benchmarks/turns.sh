# shellcheck shell=bash
# Measures programs in turn and prints the table of results. scripts/bench sets the variables.
# shellcheck disable=SC2154,SC2034

results=$workspace/results
turns=${quick:+3}
turns=${turns:-7}
turns_for_memory=${quick:+1}
turns_for_memory=${turns_for_memory:-3}

# The real path of an interpreter: the wrapper of a version manager would add to the time.
python3=$(python3 -c 'import sys; print(sys.executable)' 2>/dev/null || true)
node=$(node -p process.execPath 2>/dev/null || true)

# amount FULL QUICK: the amount of work in a turn.
amount() {
  if [ "$quick" ]; then echo "$2"; else echo "$1"; fi
}

# Pins everything to the processor on which the time of equal pieces of work varies least.
choose_processor() {
  pinned=()
  if ! command -v taskset >/dev/null; then
    printf 'No taskset: nothing can be pinned to one processor\n'
    return
  fi
  local candidate
  candidate=$(for ((cpu = 0; cpu < $(nproc); ++cpu)); do
    printf '%s %s\n' "$(taskset -c "$cpu" "$binaries/benchmark_driver" noise | cut -d' ' -f1)" "$cpu"
  done | sort -g | head -n 1 | cut -d' ' -f2)
  pinned=(taskset -c "$candidate")
  printf 'Pinned: everything on processor %s of %s.\n' "$candidate" "$(nproc)"
}

describe_turns() {
  printf 'Medians of %s turns (memory: %s, instructions: 1); the spread is between quartiles.\nLoad at the start:%s\n' \
    "$turns" "$turns_for_memory" "$(uptime | sed 's/.*average[s]*://')"
}

# program NAME AMOUNT DRIVER-ARGUMENT...: one turn of one program, with AMOUNT units of work.
program() {
  local name=$1 units=$2 numbers reason
  shift 2
  grep -qxF "$name" "$workspace/failed" && return
  if numbers=$(${prefix[@]+"${prefix[@]}"} "$binaries/benchmark_driver" "$@" 2>"$workspace/errors"); then
    printf '%s\t%s\t%s\t%s\n' "$where" "$name" "$units" "${numbers// /$'\t'}" >>"$results"
  else
    reason=$(sed -n 's/^driver: //p' "$workspace/errors")
    printf '%s\n' "$name" >>"$workspace/failed"
    printf 'none\t%s\tno result: %s\n' "$name" "${reason:-no answer in time}" >>"$results"
  fi
}

# count_instructions FILE COMMAND...: prints how many instructions the command, without its children,
# takes in user mode for that input.
count_instructions() {
  ${prefix[@]+"${prefix[@]}"} valgrind --tool=callgrind --callgrind-out-file=/dev/null "${@:2}" \
    <"$1" 2>&1 >/dev/null | sed -n 's/.*Collected : //p'
}

# instructions NAME LINES INPUT COMMAND...: counts them for the function INPUT with LINES lines and
# with twice as many. The difference is that of LINES lines, without the start and the end.
instructions() {
  local name=$1 lines=$2 input=$3 once twice
  shift 3
  "$input" "$lines" >"$workspace/once"
  "$input" $((2 * lines)) >"$workspace/twice"
  once=$(count_instructions "$workspace/once" "$@")
  twice=$(count_instructions "$workspace/twice" "$@")
  if [ "$once" ] && [ "$twice" ]; then
    printf '%s\t%s\t%s\t%s\t0\t0\n' "$where" "$name" "$lines" $((twice - once)) >>"$results"
  else
    printf 'none\t%s\tno result: valgrind did not count\n' "$name" >>"$results"
  fi
}

# peer COMMAND NAME AMOUNT DRIVER-ARGUMENT...: the same if COMMAND is installed.
peer() {
  if command -v "${1:-absent}" >/dev/null; then
    program "${@:2}"
  elif ! grep -qF "none"$'\t'"$2"$'\t' "$results"; then
    printf 'none\t%s\tnot on this machine\n' "$2" >>"$results"
  fi
}

# places UNIT: whether to measure pinned, unpinned or both. Memory and instructions are the same in
# both.
places() {
  if [ "${#pinned[@]}" -eq 0 ]; then
    echo unpinned
  elif [ "$quick" ] || [ "$1" = MiB ] || [ "$1" = instr. ]; then
    echo pinned
  else
    echo pinned unpinned
  fi
}

# measure FUNCTION TITLE UNIT TARGET...: in each turn calls FUNCTION, which calls program, peer or
# instructions. UNIT/s means units of AMOUNT per second, us or ms the time for one of them, MiB the
# peak memory, instr. the instructions for one of them.
# A target is "figure|processor <=|>= NUMBER [REFERENCE]": with a reference, a ratio to it.
measure() {
  local programs=$1 title=$2 unit=$3 turn most=$turns
  shift 3
  [ "$unit" != MiB ] || most=$turns_for_memory
  [ "$unit" != instr. ] || most=1
  : >"$results"
  : >"$workspace/failed"
  for where in $(places "$unit"); do
    prefix=()
    [ "$where" = unpinned ] || prefix=("${pinned[@]}")
    for ((turn = 0; turn < most; ++turn)); do
      "$programs"
    done
  done
  [ "$#" -eq 0 ] || printf 'target\t%s\n' "$@" >>"$results"
  awk -v title="$title" -v unit="$unit" -f benchmarks/report.awk "$results"
}
