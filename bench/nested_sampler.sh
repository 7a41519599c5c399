#!/usr/bin/env bash
# Wall time and log Z of `tevo nested_sampler` on its spike-and-slab model,
# whose exact log evidence is log(101) = 4.615.
# Usage: bench/nested_sampler.sh [tevo binary] [runs]
# The command seeds itself from the clock, so runs differ; each run is started
# in a new second.
set -euo pipefail
here="$(cd "$(dirname "$0")" && pwd)"
tevo="$(realpath "${1:-$here/../build/src/tevo}")"
runs="${2:-3}"
out="$here/out/nested_sampler"
mkdir -p "$out"
cd "$out"

exact=$(awk 'BEGIN { printf "%.3f", log(101) }')
echo "exact log Z = $exact"
printf "%-8s %-9s %-9s %-10s %-10s %-8s\n" npop max_iter wall_s "log(Z)" "log(L)*" "H"
for steps in 100 1000; do
  n=$runs
  [ "$steps" -gt 100 ] && n=1
  for r in $(seq 1 "$n"); do
    sleep 1
    start=$(date +%s.%N)
    "$tevo" nested_sampler -npop 100 -max_iter "$steps" -jobname "bench_$steps" > run.txt 2>&1
    end=$(date +%s.%N)
    # The last progress record carries the final figures.
    last=$(tr '\r' '\n' < run.txt | grep 'Sampling: log(X)' | tail -1)
    logz=$(sed -E 's/.*log\(Z\) = ([-0-9.]+).*/\1/' <<< "$last")
    logl=$(sed -E 's/.*log\(L\) = ([-0-9.]+).*/\1/' <<< "$last")
    h=$(sed -E 's/.*H = ([-0-9.]+) .*/\1/' <<< "$last")
    printf "%-8s %-9s %-9.2f %-10s %-10s %-8s\n" 100 "$steps" "$(echo "$end - $start" | bc -l)" \
      "$logz" "$logl" "$h"
  done
done
