#!/bin/sh
# Force evaluations per second of the coarse-grained engine with all 19 node
# types, on the N, CA, C backbone of ubiquitin (1ubq, 76 residues) and of the
# first 300 residues of 4JSV chain C; one and two systems (replicas), one and
# two threads; then the time of each node's value and derivative steps.
# Usage: bench/cg_engine.sh [build dir]   (run from the repository root)
set -e
ROOT=$(cd "$(dirname "$0")/.." && pwd)
BUILD=${1:-$ROOT/build}
DATA=$ROOT/../shared/data/structures/single
OUT=$ROOT/bench/out/cg_engine
mkdir -p "$OUT"

cmake --build "$BUILD" --target tevo_md >/dev/null
g++ -O3 -fopenmp -std=c++17 -I"$ROOT/src" -I"$ROOT/include" -I"$ROOT/tests/md" -I/usr/include/hdf5/serial \
  "$ROOT/bench/cg_engine.cpp" "$BUILD/src/md/libtevo_md.a" "$BUILD/src/util/libtevo_util.a" \
  -L/usr/lib/x86_64-linux-gnu/hdf5/serial -lhdf5 -lhdf5_hl -lbz2 -lboost_filesystem -o "$OUT/cg_engine_bench"
echo "load before: $(uptime)"
stdbuf -oL "$OUT/cg_engine_bench" "$DATA/1ubq.pdb" A 76 "$OUT" 500
stdbuf -oL "$OUT/cg_engine_bench" "$DATA/4JSV.pdb" C 300 "$OUT" 100
echo "load after: $(uptime)"
