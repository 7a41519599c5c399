#!/usr/bin/env bash
# Times `tevo stats_pearson` against the same computation in awk on a
# generated 10-million-row, three-column tab table, and reports peak memory.
# Usage: bench/pearson.sh [path/to/tevo]   (default: build/src/tevo)
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
tevo=${1:-$here/../build/src/tevo}
out=$here/out
rows=${ROWS:-10000000}
table=$out/pearson_${rows}.tsv
mkdir -p "$out"
[ -x /usr/bin/time ] || { echo "needs /usr/bin/time (Debian package: time)"; exit 1; }

if [ ! -s "$table" ]; then
  echo "generating $table ($rows rows, seed 20261122) ..."
  # label, x uniform on [0, 100), y = 0.6 x + noise: r is about 0.6
  awk -v n="$rows" 'BEGIN { srand(20261122)
    for (i = 0; i < n; i++) { x = 100 * rand(); printf "r%d\t%.6f\t%.6f\n", i, x, 0.6 * x + 80 * rand() } }' \
    > "$table.part"
  mv "$table.part" "$table"
fi
bytes=$(stat -c %s "$table")
echo "table: $table, $(( bytes / 1000000 )) MB"

awk_prog='!/^#/ && length($0) { n++; x = $2 + 0; y = $3 + 0; sx += x; sy += y; sxx += x * x; syy += y * y; sxy += x * y }
END { mx = sx / n; my = sy / n; vx = sxx / n - mx * mx; vy = syy / n - my * my
      printf "mean1 %.5f mean2 %.5f sd1 %.5f sd2 %.5f r %.5f\n", mx, my, sqrt(vx), sqrt(vy), (sxy / n - mx * my) / sqrt(vx * vy) }'

run() {  # label, command...: wall seconds and peak kB from /usr/bin/time
  local label=$1; shift
  local log=$out/time_$label.txt
  /usr/bin/time -v "$@" > "$out/stdout_$label.txt" 2> "$log"
  local wall peak
  wall=$(awk -F': ' '/Elapsed \(wall clock\)/ { n = split($2, p, ":"); s = 0; for (i = 1; i <= n; i++) s = s * 60 + p[i]; print s }' "$log")
  peak=$(awk -F': ' '/Maximum resident set size/ { print $2 }' "$log")
  printf '%-6s wall %7.2f s   peak RSS %6d MB\n' "$label" "$wall" "$(( peak / 1000 ))"
  eval "wall_$label=$wall; peak_$label=$peak"
}

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
pushd "$work" > /dev/null
run tevo "$tevo" stats_pearson -mat "$table" -jobname bench_pearson
popd > /dev/null
grep -E "Mean|Standard|Pearson corr|Time \(" "$out/stdout_tevo.txt" | sed 's/\x1b\[[0-9;]*m//g'
run awk awk -F'\t' "$awk_prog" "$table"
cat "$out/stdout_awk.txt"

awk -v t="$wall_tevo" -v a="$wall_awk" -v p="$peak_tevo" -v b="$bytes" 'BEGIN {
  printf "speed-up over awk: %.1fx (target >= 3)\n", a / t
  printf "tevo peak memory / file size: %.2f (target <= 3)\n", p * 1000 / b }'
