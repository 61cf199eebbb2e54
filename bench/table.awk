# Prints figures ("name value" lines) as a table: the limit, the measured value and the value of a peer.
#   awk -f table.awk ASKED FIGURES      ASKED: name|description|relation|limit|peer's name or -
BEGIN { FS = "|" }
FNR == NR { if ($0 !~ /^#/ && NF == 5) { order[++rows] = $1; words[$1] = $2; relation[$1] = $3; limit[$1] = $4; peer[$1] = $5 } next }
{ split($0, pair, " "); value[pair[1]] = pair[2] }
END {
  printf "%-58s %-14s %-12s %-12s %s\n", "figure", "limit", "measured", "peer", ""
  for (row = 1; row <= rows; row++) {
    name = order[row]
    if (!(name in value)) { printf "%-58s %-14s %-12s %-12s %s\n", words[name], relation[name] " " limit[name], "not measured", "", "MISSING"; bad++; continue }
    v = value[name] + 0; l = limit[name] + 0
    ok = relation[name] == "<=" ? v <= l : relation[name] == ">=" ? v >= l : v == l
    if (!ok) bad++
    printf "%-58s %-14s %-12s %-12s %s\n", words[name], relation[name] " " limit[name], value[name], peer[name] in value ? value[peer[name]] : "", ok ? "" : "MISSED"
  }
  printf "%d of %d limits met\n", rows - bad, rows
}
