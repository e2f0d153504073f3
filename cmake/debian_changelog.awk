# Turns CHANGELOG.md into the form of Debian's changelogs.

function finish_item(words, count, i, line) {
  count = split(item, words)
  line = "  *"
  for (i = 1; i <= count; ++i) {
    if (length(line) + length(words[i]) > 78) {
      print line
      line = "   "
    }
    line = line " " words[i]
  }
  if (count > 0) print line
  item = ""
}

function finish_version() {
  finish_item()
  if (date != "") {
    command = "LC_ALL=C date --utc --rfc-email --date=" date
    command | getline stamp
    close(command)
    printf "\n -- %s  %s\n\n", maintainer, stamp
  }
}

/^## \[[0-9]/ {
  finish_version()
  date = $NF
  gsub(/[][]/, "", $2)
  printf "%s (%s) unstable; urgency=medium\n\n", package, $2
}
/^- / { finish_item() }
/^(-| ) / && date != "" { item = item substr($0, 2) }

END { finish_version() }
