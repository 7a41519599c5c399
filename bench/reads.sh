#!/usr/bin/env bash
# Read commands on a simulated 5 Mbp genome with 2 million 150 bp reads
# (1% substitutions, qualities falling along the read; fixed seed).
# Prints wall and CPU seconds and peak memory; the run with least CPU time of three where repeated.
# Usage: bench/reads.sh [stats] [filter] [correct]   (no argument: all three)
set -euo pipefail
parts=" ${*:-stats filter correct} "
here=$(cd "$(dirname "$0")" && pwd)
tevo=${TEVO:-$(dirname "$here")/build/src/tevo}
out=$here/out
mkdir -p "$out"
cd "$out"
[ -x simulate_reads ] || g++ -O2 -o simulate_reads "$here/simulate_reads.cpp"
[ -s reads.fq ] || ./simulate_reads 5000000 2000000 150 20261122 genome.fa reads.fq
[ -s reads.fq.gz ] || gzip -6 -c reads.fq > reads.fq.gz
bytes=$(stat -c %s reads.fq)
bases=300000000

# best <label> <runs> <command...>: the run with the smallest CPU time (user + system).
best() {
  local label=$1 runs=$2
  shift 2
  local best_line=""
  for _ in $(seq "$runs"); do
    /usr/bin/time -f "%e %U %S %M" -o time.txt "$@" > run.out 2> run.err || { echo "$label failed"; tail -3 run.out; exit 1; }
    line=$(awk '{printf "%.2f %.2f %.1f", $1, $2 + $3, $4 / 1024}' time.txt)
    if [ -z "$best_line" ] || awk -v a="$line" -v b="$best_line" 'BEGIN{split(a,x," ");split(b,y," ");exit !(x[2]<y[2])}'; then
      best_line=$line
    fi
  done
  read -r wall cpu mb <<< "$best_line"
  printf "%-40s wall %7.2f s   cpu %7.2f s   peak %8.1f MB\n" "$label" "$wall" "$cpu" "$mb"
  last_wall=$wall
  last_cpu=$cpu
  last_mb=$mb
}

echo "== input: $(basename "$out")/reads.fq, $bytes bytes, $bases bases; load $(cut -d' ' -f1-3 /proc/loadavg)"

if [[ $parts == *" stats "* ]]; then
best "tevo atgc_stats (plain)" 3 "$tevo" atgc_stats -fastx reads.fq -jobname bench_stats
tevo_wall=$last_wall
tevo_cpu=$last_cpu
awk -v mb="$last_mb" -v b=$bases 'BEGIN{printf "   peak memory / bases = %.2f\n", mb * 1048576 / b}'
if command -v seqkit > /dev/null; then
  best "seqkit stats -a -j 1 (plain)" 3 seqkit stats -a -j 1 reads.fq
  # CPU time (user + system) is the fair figure on a shared machine.
  awk -v a="$tevo_wall" -v b="$last_wall" -v c="$tevo_cpu" -v d="$last_cpu" \
    'BEGIN{printf "   speed-up over seqkit: %.2fx wall, %.2fx cpu\n", b / a, d / c}'
  best "tevo atgc_stats (gzip)" 1 "$tevo" atgc_stats -fastx reads.fq.gz -jobname bench_stats_gz
  tevo_wall=$last_wall
  tevo_cpu=$last_cpu
  best "seqkit stats -a -j 1 (gzip)" 1 seqkit stats -a -j 1 reads.fq.gz
  awk -v a="$tevo_wall" -v b="$last_wall" -v c="$tevo_cpu" -v d="$last_cpu" \
    'BEGIN{printf "   speed-up over seqkit: %.2fx wall, %.2fx cpu\n", b / a, d / c}'
fi

fi

if [[ $parts == *" filter "* ]]; then
best "zcat | gzip -1 round trip" 1 sh -c "zcat reads.fq.gz | gzip -1 > roundtrip.gz"
trip=$last_wall
best "tevo read_filter (three stages)" 1 "$tevo" read_filter -fastx reads.fq.gz -n 0 -jobname bench_filter
grep -o "Wrote .*tevo_[a-z]*.fastq.gz in [0-9.]* seconds" run.err | sed 's/Wrote .*\/\(tevo_[a-z]*.fastq.gz\)/\1/' |
  awk -v t="$trip" '{printf "   stage %-24s %6.2f s = %.2fx the round trip\n", $1, $3, $3 / t}'

fi

if [[ $parts == *" correct "* ]]; then
for threads in 1 2; do
  best "tevo atgc_correct -threads $threads" 1 "$tevo" atgc_correct -fastx reads.fq -threads "$threads" -jobname "bench_correct_$threads"
  eval "correct_$threads=$last_wall"
  grep -o "Used [0-9]*MB and [0-9.]*s to load" run.out | awk -v b="$bytes" '{t=$4; sub("s","",t); printf "   packing loader: %s, %.0f MB/s of FASTQ\n", $0, b / t / 1e6}'
  cmp -s "tevo-output/bench_correct_1/reads.fq_corrected.fasta" "tevo-output/bench_correct_$threads/reads.fq_corrected.fasta" &&
    echo "   corrected reads identical to the 1-thread run"
done
awk -v a="$correct_1" -v b="$correct_2" 'BEGIN{printf "   correction speed-up 2 threads: %.2fx\n", a / b}'
fi
