#!/bin/sh
# Coupling-fit benchmark on alignments drawn from a Potts model with planted
# pairs (fixed seeds):
#  (a) 5000 sequences x 200 sites: one objective evaluation at 1 and 2
#      threads, the driver's peak memory, and sequence_eca -max_iter 50 at
#      2 threads end to end (time, peak memory), with and without gnuplot and
#      python on PATH, and how many planted pairs rank at the top;
#  (b) 2000 sequences x 80 sites, 30% of them near copies (weights below
#      1 after reweighting): tevo against the NumPy objective of
#      bench/eca_np.py (1 thread, wall and CPU) and the largest gradient
#      difference.
# Usage: bench/eca.sh [build dir]   (run from anywhere; outputs in bench/out/eca)
set -e
ROOT=$(cd "$(dirname "$0")/.." && pwd)
BUILD=${1:-$ROOT/build}
BUILD=$(cd "$BUILD" && pwd)
OUT=$ROOT/bench/out/eca
PY=/usr/bin/python3
mkdir -p "$OUT/a" "$OUT/b"
cd "$OUT"

$PY "$ROOT/bench/eca_np.py" --selftest

g++ -O3 -std=c++17 "$ROOT/bench/potts_alignment.cpp" -o "$OUT/potts_alignment"
A=$OUT/potts_5000x200.fasta
B=$OUT/potts_2000x80_near30.fasta
[ -f "$A" ] || "$OUT/potts_alignment" "$A" 5000 200 2026
[ -f "$B" ] || "$OUT/potts_alignment" "$B" 2000 80 2027 0.3

L=$BUILD/src
g++ -O3 -fopenmp -std=c++17 -I"$ROOT/src" -I"$ROOT/include" "$ROOT/bench/eca_eval.cpp" \
  -Wl,--start-group "$L/sequence/libtevo_sequence.a" "$L/optimizer/libtevo_optimizer.a" \
  "$L/report/libtevo_report.a" "$L/protein/libtevo_protein.a" "$L/util/libtevo_util.a" -Wl,--end-group \
  -lboost_filesystem -lz -lbz2 -o "$OUT/eca_eval"

echo "== (a) 5000 x 200: one evaluation"
/usr/bin/time -v "$OUT/eca_eval" "$A" "$OUT/a" >"$OUT/a/eval.out" 2>"$OUT/a/eval.time"
grep BENCH "$OUT/a/eval.out" | tee "$OUT/a/tevo.txt"
echo "BENCH driver peak memory: $(grep 'Maximum resident' "$OUT/a/eval.time" | awk '{print $NF}') kB"
awk '/eval_1_thread_s/{t1=$3} /eval_2_threads_s/{t2=$3}
     END{printf "BENCH 2 threads / 1 thread speed-up: %.2fx\n", t1/t2}' "$OUT/a/tevo.txt"

echo "== (b) 2000 x 80: tevo vs NumPy"
"$OUT/eca_eval" "$B" "$OUT/b" dump | grep BENCH | tee "$OUT/b/tevo.txt"
OPENBLAS_NUM_THREADS=1 OMP_NUM_THREADS=1 $PY "$ROOT/bench/eca_np.py" eval "$OUT/b" | tee "$OUT/b/numpy.txt"
awk '/eval_1_thread_s/{t1=$3} /eval_cpu_1_thread_s/{c1=$3} /numpy_s/{np=$3} /numpy_cpu_s/{nc=$3}
     END{printf "BENCH speed-up vs NumPy (1 thread): %.1fx wall, %.1fx CPU time\n", np/t1, nc/c1}' \
  "$OUT/b/tevo.txt" "$OUT/b/numpy.txt"
uptime

echo "== (a) sequence_eca -max_iter 50 -threads 2"
for tools in installed none; do
  if [ $tools = none ]; then P=/nonexistent; else P=$PATH; fi
  env PATH=$P /usr/bin/time -v "$BUILD/src/tevo" sequence_eca -msa "$A" -max_iter 50 -threads 2 \
    -jobname eca_$tools >"$OUT/a/eca_$tools.out" 2>"$OUT/a/eca_$tools.time"
  echo "BENCH sequence_eca (outside tools: $tools):" \
       "$(grep 'Elapsed (wall' "$OUT/a/eca_$tools.time" | awk '{print $NF}') wall," \
       "$(grep 'User time' "$OUT/a/eca_$tools.time" | awk '{print $NF}') s user," \
       "$(grep 'Maximum resident' "$OUT/a/eca_$tools.time" | awk '{print $NF}') kB peak"
done
uptime
CSV=$(ls "$OUT"/tevo-output/eca_installed/*amino_acid_coupling.csv 2>/dev/null | head -n 1 || true)
if [ -n "$CSV" ]; then
  $PY "$ROOT/bench/eca_np.py" planted "$CSV" "$A.pairs"
else
  echo "BENCH no amino_acid_coupling.csv under $OUT/tevo-output/eca_installed"
fi
