#!/usr/bin/env bash
# Q3 of the shipped secondary-structure model on the given structures: makes
# their features (scripts/pross_features.sh, DSSP for the truth), predicts
# them with `tevo pross -phase 1`, and compares residue by residue.
# Usage: bench/pross_q3.sh <pdb files...>
#   TEVO=path/to/tevo (default build/src/tevo), MODEL=model file
#   (default data/pross/pross.model), WIN=window (default 15).
# Last line: "Q3 <percent> on <n> residues".
set -euo pipefail
here=$(cd "$(dirname "$0")/.." && pwd)
tevo=${TEVO:-$here/build/src/tevo}
model=${MODEL:-$here/data/pross/pross.model}
[ $# -ge 1 ] || { sed -n '2,8p' "$0" | sed 's/^# //'; exit 1; }
[ -x "$tevo" ] || { echo "no tevo at $tevo (build first or set TEVO)" >&2; exit 1; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
model=$(cd "$(dirname "$model")" && pwd)/$(basename "$model")

bash "$here/scripts/pross_features.sh" "$work/truth" "$@" 2> "$work/features.log" | tail -1
[ -s "$work/truth/list.txt" ] || { echo "no chain to predict" >&2; cat "$work/features.log" >&2; exit 1; }
mkdir -p "$work/input"
cp "$work/truth/list.txt" "$work/input/"
while read -r name; do
  sed 's/,[^,]*$//' "$work/truth/$name.csv" > "$work/input/$name.csv"  # the class column goes
done < "$work/truth/list.txt"

(cd "$work" && "$tevo" pross -phase 1 -dirt input -cfg "$model" -win "${WIN:-15}" -jobname q3 > pross.log 2>&1) ||
  { cat "$work/pross.log" >&2; exit 1; }
predicted=$work/tevo-output/q3/q3_pross.fasta
[ -s "$predicted" ] || { cat "$work/pross.log" >&2; exit 1; }

# Truth letters per chain in the order of the list, then the comparison.
while read -r name; do
  printf '>%s\n' "$name"
  awk -F, '{ printf "%s", ($NF == 1 ? "H" : $NF == 2 ? "E" : "C") } END { print "" }' "$work/truth/$name.csv"
done < "$work/truth/list.txt" > "$work/truth.fasta"
awk '
  FNR == 1 { file++ }
  /^>/ { name = substr($0, 2); next }
  file == 1 { truth[name] = $0; order[++n] = name; next }
  { pred[name] = $0 }
  END {
    for (i = 1; i <= n; i++) {
      t = truth[order[i]]; p = pred[order[i]]
      if (length(p) != length(t)) { printf "length mismatch for %s\n", order[i] > "/dev/stderr"; exit 1 }
      for (k = 1; k <= length(t); k++) {
        a = substr(t, k, 1); b = substr(p, k, 1)
        total++; count[a]++; hit += (a == b); right[a] += (a == b); said[b]++
      }
    }
    best = 0
    for (s in count) if (count[s] > best) { best = count[s]; major = s }
    printf "chains %d, residues %d\n", n, total
    for (s in count)
      printf "  %s: %5.1f%% of residues, predicted %5.1f%%, recall %5.1f%%\n", s, 100 * count[s] / total,
             100 * said[s] / total, 100 * right[s] / count[s]
    printf "majority-class baseline (%s) %.1f%%\n", major, 100 * best / total
    printf "Q3 %.1f on %d residues\n", 100 * hit / total, total
  }' "$work/truth.fasta" "$predicted"
