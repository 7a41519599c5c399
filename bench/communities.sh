#!/bin/sh
# Jacobi eigen-decomposition and the residue community step on seeded random
# symmetric matrices (n = 100, 300, 600), with NumPy's eigh as an outside
# check of the eigenvalues and its time for comparison.
# Usage: bench/communities.sh [build dir]   (run from the repository root)
set -e
ROOT=$(cd "$(dirname "$0")/.." && pwd)
BUILD=${1:-$ROOT/build}
OUT=$ROOT/bench/out/communities
PY=/usr/bin/python3
mkdir -p "$OUT"
cd "$OUT"

g++ -O3 -fopenmp -std=c++17 -I"$ROOT/src" -I"$ROOT/include" "$ROOT/bench/communities.cpp" \
  "$BUILD/src/sequence/libtevo_sequence.a" "$BUILD/src/report/libtevo_report.a" \
  "$BUILD/src/protein/libtevo_protein.a" "$BUILD/src/util/libtevo_util.a" \
  -lboost_filesystem -lbz2 -lz -lhdf5_serial -lhdf5_serial_hl -o "$OUT/communities_bench"
# Charts only as files: the outside plotting tools are kept off PATH.
env PATH=/nonexistent "$OUT/communities_bench" "$OUT" 100 300 600 | grep BENCH
for n in 100 300 600; do
  $PY - "$OUT" $n <<'PY'
import sys, time, numpy as np
out, n = sys.argv[1], int(sys.argv[2])
a = np.loadtxt(f"{out}/matrix_{n}.csv", delimiter=",")
t = time.perf_counter(); w = np.linalg.eigh(a)[0][::-1]; s = time.perf_counter() - t
mine = np.loadtxt(f"{out}/values_{n}.txt")
print(f"BENCH numpy eigh n={n} seconds={s:.3f} max |eigenvalue difference|={np.abs(w - mine).max():.2e}")
PY
done
