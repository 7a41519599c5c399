#!/usr/bin/env bash
# Feature files for `tevo pross` from protein structures.
# Usage: scripts/pross_features.sh [--no-class] <out-dir> <pdb files (.pdb, .ent, optionally .gz)...>
#
# For every chain of at least 20 residues (DSSP's numbering; chain breaks
# dropped), writes <out-dir>/<file>_<chain>.csv and appends its name to
# <out-dir>/list.txt. A chain whose sequence was already written is skipped,
# so repeated chains (homo-oligomers, the same entry in two packages, chains
# already listed in <out-dir>) count once.
# One row per residue:
#   letter, 20 columns of the residue type (20 for the residue, else 0),
#   7 scales of the residue type mapped onto [0, 20], class
# The features come from the sequence only; the class (left out with
# --no-class) is DSSP's state reduced to three: H, G, I -> 1 (H);
# E, B -> 2 (E); anything else -> 0 (C), the codes whose letters idx2sec gives.
# All values lie on the 0..20 scale of the residue code of column 1, so the
# per-sample min-max scaling of pross leaves their proportions alone.
# Needs mkdssp (Debian package dssp).
set -euo pipefail
with_class=1
if [ "${1:-}" = "--no-class" ]; then with_class=0; shift; fi
if [ $# -lt 2 ]; then
  sed -n '2,3p' "$0" | sed 's/^# //'
  exit 1
fi
out=$1; shift
command -v mkdssp >/dev/null || { echo "needs mkdssp (apt-get install dssp)" >&2; exit 1; }
mkdir -p "$out"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
seen=$work/seen.txt
: > "$seen"
# Chains already in the folder's list count as seen.
if [ -f "$out/list.txt" ]; then
  while read -r name; do
    [ -f "$out/$name.csv" ] && cut -d, -f1 "$out/$name.csv" | tr -d '\n' >> "$seen" && echo >> "$seen"
  done < "$out/list.txt"
fi

for pdb in "$@"; do
  base=$(basename "$pdb")
  stem=${base%.gz}; stem=${stem%.pdb}; stem=${stem%.ent}
  input=$work/$stem.pdb
  # mkdssp refuses some records and columns of older files: keep the ATOM
  # lines of the first model up to the temperature factor, under a plain header;
  # a blank chain identifier becomes A.
  { echo "HEADER    PROTEIN                                 01-JAN-00   XXXX"
    case "$pdb" in *.gz) gzip -dc "$pdb" ;; *) cat "$pdb" ;; esac |
      awk '/^ENDMDL/ { done = 1 }
           !done && /^ATOM  / { line = substr($0, 1, 66); if (substr(line, 22, 1) == " ") line = substr(line, 1, 21) "A" substr(line, 23); print line }
           !done && /^TER/ { print "TER" }'
    echo "END"; } > "$input"
  if ! mkdssp --output-format dssp "$input" "$work/$stem.dssp" 2> "$work/err.txt"; then
    echo "skipped $pdb: mkdssp: $(head -1 "$work/err.txt")" >&2
    continue
  fi
  # Scales per residue type (A R N D C Q E G H I L K M F P S T W Y V):
  # hydropathy (Kyte & Doolittle 1982), helix, strand and turn propensities
  # (Chou & Fasman 1978), residue volume in A^3 (Zamyatnin 1972), charge at
  # pH 7, polarity (Grantham 1974).
  awk -v out="$out" -v stem="$stem" -v with_class="$with_class" -v seen="$seen" '
    BEGIN {
      aa = "ARNDCQEGHILKMFPSTWYV"
      split("1.8 -4.5 -3.5 -3.5 2.5 -3.5 -3.5 -0.4 -3.2 4.5 3.8 -3.9 1.9 2.8 -1.6 -0.8 -0.7 -0.9 -1.3 4.2", s1)
      split("142 98 67 101 70 111 151 57 100 108 121 114 145 113 57 77 83 108 69 106", s2)
      split("83 93 89 54 119 110 37 75 87 160 130 74 105 138 55 75 119 137 147 170", s3)
      split("66 95 156 146 119 98 74 156 95 47 59 101 60 60 152 143 96 96 114 50", s4)
      split("88.6 173.4 114.1 111.1 108.5 143.8 138.4 60.1 153.2 166.7 166.7 168.6 162.9 189.9 112.7 89.0 116.1 227.8 193.6 140.0", s5)
      split("0 1 0 -1 0 0 -1 0 0 0 0 1 0 0 0 0 0 0 0 0", s6)
      split("8.1 10.5 11.6 13.0 5.5 10.5 12.3 9.0 10.4 5.2 4.9 11.3 5.7 5.2 8.0 9.2 8.6 5.4 6.2 5.9", s7)
      nscales = 7
      for (k = 1; k <= nscales; k++) {
        lo = 1e9; hi = -1e9
        for (i = 1; i <= 20; i++) { v = scale(k, i); if (v < lo) lo = v; if (v > hi) hi = v }
        for (i = 1; i <= 20; i++) mapped[k, i] = sprintf("%.4f", 20 * (scale(k, i) - lo) / (hi - lo))
      }
      while ((getline line < seen) > 0) done_seq[line] = 1
    }
    function scale(k, i) {
      return k == 1 ? s1[i] : k == 2 ? s2[i] : k == 3 ? s3[i] : k == 4 ? s4[i] : k == 5 ? s5[i] : k == 6 ? s6[i] : s7[i]
    }
    function state(ss) { return ss ~ /[HGI]/ ? 1 : ss ~ /[EB]/ ? 2 : 0 }
    /^  #  RESIDUE/ { body = 1; next }
    body && substr($0, 14, 1) != "!" && substr($0, 14, 1) != "*" {
      chain = substr($0, 12, 1); if (chain == " ") chain = "_"
      letter = substr($0, 14, 1); if (letter ~ /[a-z]/) letter = "C"
      if (!(chain in count)) order[++chains] = chain
      n = ++count[chain]
      res[chain, n] = letter; cls[chain, n] = state(substr($0, 17, 1))
      seq[chain] = seq[chain] letter
    }
    END {
      for (c = 1; c <= chains; c++) {
        ch = order[c]
        if (count[ch] < 20 || (seq[ch] in done_seq)) continue
        known = gsub(/[ARNDCQEGHILKMFPSTWYV]/, "&", seq[ch]); if (known < 0.9 * count[ch]) continue
        done_seq[seq[ch]] = 1; print seq[ch] >> seen
        name = stem "_" ch; file = out "/" name ".csv"
        printf "" > file
        for (r = 1; r <= count[ch]; r++) {
          letter = res[ch, r]; i = index(aa, letter)
          row = letter
          for (j = 1; j <= 20; j++) row = row "," (i == j ? 20 : 0)
          for (k = 1; k <= nscales; k++) row = row "," (i ? mapped[k, i] : "10")
          if (with_class) row = row "," cls[ch, r]
          print row > file
        }
        close(file)
        print name >> (out "/list.txt")
        printf "%s %d\n", name, count[ch] > "/dev/stderr"
      }
    }' "$work/$stem.dssp" 2>> "$work/written.txt"
done
if [ -s "$work/written.txt" ]; then
  awk '{ n++; r += $2 } END { printf "%d chains, %d residues written to '"$out"'\n", n, r }' "$work/written.txt"
else
  echo "no chain written" >&2
fi
