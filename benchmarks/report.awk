# Prints one measure's part of the table. Reads the turns ("pinned" or "unpinned", program, amount,
# seconds, processor seconds, peak KiB), the programs without a result, and the targets.

BEGIN { FS = "\t" }

function figure(amount, seconds, peak) {
  if (unit ~ /\/s$/) return amount / seconds
  if (unit == "us") return seconds / amount * 1e6
  if (unit == "ms") return seconds / amount * 1e3
  return unit == "MiB" ? peak / 1024 : seconds / amount
}

$1 == "none" { reason[$2] = $3; remember($2); next }
$1 == "target" { targets[++targetCount] = $2; next }
{
  remember($2)
  count = ++turns[$1, $2]
  figures[$1, $2, count] = figure($3, $4, $6)
  processor[$1, $2, count] = $5 / $3 * 1e6
  amounts[$2] = $3
}

function remember(name) {
  if (!(name in known)) {
    known[name] = 1
    names[++nameCount] = name
  }
}

# The quantile `share` of the turns, with linear interpolation.
function quantile(values, where, name, share,    count, sorted, i, j, value, place, low) {
  count = turns[where, name]
  for (i = 1; i <= count; ++i) {
    value = values[where, name, i]
    for (j = i; j > 1 && sorted[j - 1] > value; --j) sorted[j] = sorted[j - 1]
    sorted[j] = value
  }
  place = 1 + (count - 1) * share
  low = int(place)
  return low == count ? sorted[count] : sorted[low] + (place - low) * (sorted[low + 1] - sorted[low])
}

function median(values, where, name) { return quantile(values, where, name, 0.5) }

function spread(values, where, name) {
  return (quantile(values, where, name, 0.75) - quantile(values, where, name, 0.25)) / \
         median(values, where, name)
}

function rounded(value) {
  if (value >= 1000) return sprintf("%.0f", value)
  return sprintf((value >= 100 ? "%.1f" : (value >= 10 ? "%.2f" : "%.3f")), value)
}

# Empty if it was not measured.
function cpu(where, name,    middle) {
  middle = median(processor, where, name)
  return unit == "MiB" || middle == 0 ? "" : rounded(middle)
}

function cells(where, name, reference,    middle, base, ratio) {
  if (!((where, name) in turns)) return sprintf("%10s %7s %8s %10s", "", "", "", "")
  middle = median(figures, where, name)
  base = ((where, reference) in turns) ? median(figures, where, reference) : 0
  ratio = base == 0 ? "" : sprintf("%.2f x", middle / base)
  return sprintf("%10s %6.1f%% %8s %10s", rounded(middle), 100 * spread(figures, where, name), ratio, cpu(where, name))
}

# Splits a target: what is compared, how, the limit, and the reference if there is one.
function split_target(text, part,    reference) {
  split(text, part, " ")
  reference = text
  sub(/^[^ ]+ [^ ]+ [^ ]+ ?/, "", reference)
  part[4] = reference
}

# Marks a verdict as unsteady if the spread of the turns is more than a tenth.
function steadiness(where, name) {
  return spread(figures, where, name) > 0.1 ? " (unsteady)" : ""
}

function judge(value, part) {
  return rounded(value) " " ((part[2] == "<=" ? value <= part[3] : value >= part[3]) ? "met" : "MISSED")
}

function verdict(where, part,    own, other) {
  if (subject in reason || !((where, subject) in turns)) return where " no result"
  own = part[1] == "processor" ? median(processor, where, subject) : median(figures, where, subject)
  if (own == 0) return where " not available on this system"
  if (part[4] == "") return where " " judge(own, part)
  if (!((where, part[4]) in turns)) return where " no result of the reference"
  other = part[1] == "processor" ? median(processor, where, part[4]) : median(figures, where, part[4])
  return where " " judge(own / other, part) \
         (steadiness(where, subject) != "" ? " (unsteady)" : steadiness(where, part[4]))
}

function sentence(part,    what) {
  what = part[1] == "processor" ? "CPU" : unit
  return what " " part[2] " " part[3] (part[4] == "" ? "" : " x " part[4])
}

END {
  subject = names[1]
  split_target(targets[1], part)
  reference = part[4]
  unpinnedToo = (("unpinned", subject) in turns)
  printf "\n%-38s %10s %7s %8s %10s", title, unit, "spread", "ratio", (unit == "MiB" ? "" : "CPU us")
  print unpinnedToo ? sprintf("   | unpinned %6s %8s %10s", "spread", "ratio", "CPU us") : ""
  for (i = 1; i <= nameCount; ++i) {
    name = names[i]
    line = sprintf("  %-36s ", name) cells("pinned", name, reference)
    if (unpinnedToo) line = line " | " cells("unpinned", name, reference)
    if (name in reason) line = sprintf("  %-36s %s", name, reason[name])
    sub(/ +$/, "", line)
    print line
  }
  for (i = 1; i <= targetCount; ++i) {
    split_target(targets[i], part)
    line = "  -> " sentence(part) ": " verdict("pinned", part)
    print unpinnedToo ? line ", " verdict("unpinned", part) : line
  }
}
