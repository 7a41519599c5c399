#!/bin/sh
# Alignment benchmark: neighbour count of sequence_reweight against NumPy
# (1 and 2 threads), and sequence_stats end to end with time and peak memory.
# Usage: bench/sequence.sh [build dir]   (run from the repository root)
set -e
ROOT=$(cd "$(dirname "$0")/.." && pwd)
BUILD=${1:-$ROOT/build}
OUT=$ROOT/bench/out/sequence
PY=/usr/bin/python3
mkdir -p "$OUT"
cd "$OUT"

MSA=$OUT/aln_20000x300.fasta
[ -f "$MSA" ] || $PY "$ROOT/bench/sequence_np.py" gen "$MSA" 20000 300 2024

g++ -O3 -fopenmp -std=c++17 -I"$ROOT/src" -I"$ROOT/include" "$ROOT/bench/sequence_reweight.cpp" \
  "$BUILD/src/sequence/libtevo_sequence.a" "$BUILD/src/protein/libtevo_protein.a" \
  "$BUILD/src/util/libtevo_util.a" -o "$OUT/reweight_bench"
"$OUT/reweight_bench" "$MSA" "$OUT" | grep BENCH | tee "$OUT/tevo.txt"

$PY "$ROOT/bench/sequence_np.py" count "$OUT/bench_msa_trimmed.a3m" "$OUT/numpy_neighbours.txt" | tee "$OUT/numpy.txt"
if cmp -s "$OUT/tevo_neighbours.txt" "$OUT/numpy_neighbours.txt"; then
  echo "BENCH neighbour counts identical to NumPy: yes"
else
  echo "BENCH neighbour counts identical to NumPy: NO"
fi
uptime
awk '/reweight_1_thread_s/{t1=$3} /reweight_2_threads_s/{t2=$3} /numpy_s/{np=$3}
     /reweight_cpu_1_thread_s/{c1=$3} /numpy_cpu_s/{nc=$3}
     END{printf "BENCH wall speed-up vs NumPy: %.1fx (1 thread), %.1fx (2 threads); 2 threads / 1 thread: %.2fx\n", np/t1, np/t2, t1/t2;
         printf "BENCH CPU-time speed-up vs NumPy (1 thread): %.1fx\n", nc/c1}' \
  "$OUT/tevo.txt" "$OUT/numpy.txt"

# Without gnuplot and python on PATH (the program alone), then as installed.
for tools in none installed; do
  for t in 1 2; do
    if [ $tools = none ]; then P=/nonexistent; else P=$PATH; fi
    env PATH=$P /usr/bin/time -v "$BUILD/src/tevo" sequence_stats -msa "$MSA" -threads $t -jobname stats_$t \
      >"$OUT/stats_$t.out" 2>"$OUT/stats_$t.time"
    echo "BENCH sequence_stats (outside tools: $tools) threads $t:" \
         "$(grep 'Elapsed (wall' "$OUT/stats_$t.time" | awk '{print $NF}') wall," \
         "$(grep 'Maximum resident' "$OUT/stats_$t.time" | awk '{print $NF}') kB peak"
  done
done
grep "effective samples" "$OUT/stats_2.out"

# sequence_converter -type 2 strips the gaps of each aligned query: one line of a
# million gaps, and a 10 MB line half gaps, against Python's str.replace.
$PY -c "print('sp|gaps\t' + '-' * 1000000 + 'ACDEF')" > "$OUT/gaps_1M.tsv"
$PY -c "import random; random.seed(7); print('sp|long\t' + ''.join(random.choice('-ACDEFGHIK-') for _ in range(10000000)))" \
  > "$OUT/line_10MB.tsv"
for f in gaps_1M line_10MB; do
  /usr/bin/time -f %e -o "$OUT/$f.time" env PATH=/nonexistent "$BUILD/src/tevo" sequence_converter -type 2 \
    -msa "$OUT/$f.tsv" -jobname conv_$f >/dev/null
  py=$($PY -c "import sys, time; t = time.time(); s = open(sys.argv[1]).read().split('\t')[1].replace('-', ''); \
print('%.2f' % (time.time() - t))" "$OUT/$f.tsv")
  echo "BENCH sequence_converter -type 2 $f: $(cat "$OUT/$f.time") s wall (Python str.replace alone: $py s)"
done
