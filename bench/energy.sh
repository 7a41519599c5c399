#!/bin/sh
# Folding energy and sampler speed on a 304-residue chain that the script
# builds from examples/1ubq.pdb: four copies packed as a tetrahedron and
# joined into one chain. Prints energy evaluations per second with the full
# shipped configuration and sampler steps per second (median of 3 runs).
# Native recognition (held-out structures): bench/energy_recognition.py.
# Usage: [STEPS=n] bench/energy.sh [build dir]   (run from the repository root;
# STEPS: sampler steps per run, 2000 by default)
set -e
ROOT=$(cd "$(dirname "$0")/.." && pwd)
BUILD=${1:-$ROOT/build}
OUT=$ROOT/bench/out/energy
mkdir -p "$OUT"

g++ -O3 -fopenmp -std=c++17 -I"$ROOT/src" -I"$ROOT/include" "$ROOT/bench/energy_bench.cpp" \
  "$BUILD/src/sampling/libtevo_sampling.a" "$BUILD/src/folding/libtevo_folding.a" \
  "$BUILD/src/protein/libtevo_protein.a" "$BUILD/src/report/libtevo_report.a" "$BUILD/src/util/libtevo_util.a" \
  -lglog -lboost_filesystem -lbz2 -lz -lhdf5_serial -lhdf5_serial_hl -o "$OUT/energy_bench"

# Four ubiquitins at the corners of a tetrahedron (edge about 31 A), one chain.
awk 'BEGIN { split("0 0 0|22 22 0|22 0 22|0 22 22", s, "|"); n = 0 }
     /^ATOM/ && substr($0, 18, 3) != "HOH" {
       lines[++m] = $0 }
     END {
       for (c = 1; c <= 4; ++c) { split(s[c], d, " "); last = -1
         for (k = 1; k <= m; ++k) { l = lines[k]; r = substr(l, 23, 4) + 0
           if (r != last) { ++n; last = r }
           printf "%s%4d%s%8.3f%8.3f%8.3f%s\n", substr(l, 1, 22), n, substr(l, 27, 4),
             substr(l, 31, 8) + d[1], substr(l, 39, 8) + d[2], substr(l, 47, 8) + d[3], substr(l, 55) } }
       print "END" }' "$ROOT/examples/1ubq.pdb" > "$OUT/ubq4.pdb"

uptime
"$OUT/energy_bench" "$OUT/ubq4.pdb" "$ROOT/data/cfg/fold_energy.cfg" "$ROOT/data/cfg/dsa.cfg" "${STEPS:-2000}" 3
