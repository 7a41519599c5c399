#!/bin/sh
# Training throughput (samples per second) of the network that pross ships,
# tevo against PyTorch (Debian python3-torch) with the same network, loss,
# solver and batch size, at 1 and 2 threads. tevo runs samples on per-thread
# layer sets ("samples") and, for 2 threads, also inside the layers
# ("layers"). Median of REPEATS runs; uptime shows the load.
# Usage: bench/networks.sh [build dir]   (SAMPLES, EPOCHS, REPEATS to change the size)
set -e
ROOT=$(cd "$(dirname "$0")/.." && pwd)
BUILD=${1:-$ROOT/build}
OUT=$ROOT/bench/out/networks
PY=/usr/bin/python3
SAMPLES=${SAMPLES:-16384}
EPOCHS=${EPOCHS:-3}
REPEATS=${REPEATS:-5}
mkdir -p "$OUT"

g++ -O3 -fopenmp -std=c++17 -I"$ROOT/src" -I"$ROOT/include" "$ROOT/bench/networks.cpp" \
  "$BUILD/src/layers/libtevo_layers.a" "$BUILD/src/util/libtevo_util.a" \
  -lboost_filesystem -lbz2 -lz -lhdf5_serial -lhdf5_serial_hl -o "$OUT/networks_bench"
uptime
for t in 1 2; do
  "$OUT/networks_bench" "$SAMPLES" "$EPOCHS" $t samples "$REPEATS"
  [ $t -gt 1 ] && "$OUT/networks_bench" "$SAMPLES" "$EPOCHS" $t layers "$REPEATS"
  if $PY -c "import torch" 2>/dev/null; then
    $PY "$ROOT/bench/networks_torch.py" "$SAMPLES" "$EPOCHS" $t "$REPEATS"
  else
    echo "PyTorch not installed (apt-get install python3-torch)"
  fi
done
uptime
