#!/usr/bin/env bash
# PDB reading and writing speed, and residue contacts on one long chain.
# Inputs are made from the real structure 4JSV under bench/out/ (same bytes
# every run). Usage: bench/pdb_parser.sh [path/to/tevo]
set -euo pipefail
here="$(cd "$(dirname "$0")" && pwd)"
tevo="${1:-$here/../build/src/tevo}"
src="${TEVO_SHARED_DATA:-$here/../../shared/data}/structures/single/4JSV.pdb"
out="$here/out/pdb"
mkdir -p "$out"
[ -f "$src" ] || { echo "missing $src"; exit 1; }

# 1. 23 copies of 4JSV's ATOM records, shifted by 160 A in x, chains renamed.
big="$out/big.pdb"
awk 'BEGIN { ids = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789" }
     FNR == 1 { copy++ }
     /^ATOM/ {
       line = $0; c = substr(line, 22, 1)
       if (!(c in map)) { map[c] = ++nmap }
       k = ((copy - 1) * 4 + map[c] - 1) % length(ids) + 1
       if (k != last) { if (last) print "TER"; last = k }
       serial = (++n) % 100000
       x = substr(line, 31, 8) + 160 * (copy - 1)
       printf "ATOM  %5d%s%s%s%8.3f%s\n", serial, substr(line, 12, 10), substr(ids, k, 1), substr(line, 23, 8), x, substr(line, 39)
     }
     END { print "TER"; print "END" }' $(for i in $(seq 23); do echo "$src"; done) > "$big"
atoms=$(grep -c '^ATOM' "$big")
echo "input: $big, $atoms atoms, $(du -m "$big" | cut -f1) MB"

# label, command...: wall and CPU (user + system) seconds and peak RSS of the
# second of two runs. On a shared machine CPU time is the steadier figure.
measure() {
  local label="$1"; shift
  /usr/bin/time -f "%e %U %S %M" -o "$out/time" "$@" > "$out/log" 2>&1
  /usr/bin/time -f "%e %U %S %M" -o "$out/time" "$@" > "$out/log" 2>&1
  read -r wall user sys rss < "$out/time"
  printf "%-34s wall %6.2f s  cpu %6.2f s  peak %7.1f MB\n" "$label" "$wall" \
    "$(echo "$user + $sys" | bc)" "$(echo "$rss / 1024" | bc -l)"
}

cd "$out"
measure "tevo pdb_parser -type 2" "$tevo" pdb_parser -pdb "$big" -type 2 -output "$out" -jobname parse

# 2. One chain of 5 copies of 4JSV chain B (1058 residues each), side by side.
long="$out/long_chain.pdb"
awk '/^ATOM/ && substr($0, 22, 1) == "B" {
       line = $0; r = substr(line, 23, 4) + 0
       if (FNR == 1 || r != last) { last = r; res++ }
       printf "ATOM  %5d%sA%4d %s%8.3f%s\n", (++n) % 100000, substr(line, 12, 10), res % 10000, substr(line, 28, 3), substr(line, 31, 8) + 30 * copy, substr(line, 39)
     }
     FNR == 1 { copy++ }
     END { print "TER"; print "END" }' $(for i in $(seq 5); do echo "$src"; done) > "$long"
echo "input: $long, $(grep -c ' CA ' "$long") residues in one chain"
measure "tevo pdb_contact (CA, 7.5 A)" "$tevo" pdb_contact -pdb "$long" -output "$out" -jobname contact
echo "contacts listed: $(($(wc -l < "$out/contact/contact_residue_contact.csv") - 1))"
