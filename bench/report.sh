#!/usr/bin/env bash
# Times `tevo plot` on generated tables: a 100,000-point line chart, a
# 20,000-point scatter, a 300 x 300 heat map (SVG cells) and a 1000 x 1000
# heat map (embedded PNG). Inputs are made with awk from fixed seeds.
# Usage: bench/report.sh [path/to/tevo]   (default build/src/tevo)
set -euo pipefail
cd "$(dirname "$0")/.."
tevo=$(realpath "${1:-build/src/tevo}")
out=bench/out/report
rm -rf "$out" && mkdir -p "$out" && cd "$out"

awk 'BEGIN{srand(11); print "x,a,b"; for(i=0;i<100000;i++) printf "%d,%.5f,%.5f\n", i, sin(i/500)+rand()*0.1, cos(i/700)}' > line.csv
awk 'BEGIN{srand(12); for(i=0;i<20000;i++) printf "%.5f,%.5f\n", rand()+rand()+rand(), rand()*rand()}' > scatter.csv
awk -v n=300 'BEGIN{srand(13); for(i=0;i<n;i++){ for(j=0;j<n;j++) printf "%s%.4f", (j?",":""), exp(-((i-j)^2)/800)+rand()*0.05; print ""}}' > heat300.csv
awk -v n=1000 'BEGIN{srand(14); for(i=0;i<n;i++){ for(j=0;j<n;j++) printf "%s%.3f", (j?",":""), sin(i/40)*cos(j/60); print ""}}' > heat1000.csv

run() {  # name kind file
  local start end
  start=$(date +%s.%N)
  PATH=/nonexistent "$tevo" plot -mat "$3" -kind "$2" -jobname "$1" > /dev/null
  end=$(date +%s.%N)
  local page="tevo-output/$1/$1_${3%.csv}_$2.html"
  printf "%-10s %-8s %8.2f s  page %7.1f kB\n" "$1" "$2" "$(echo "$end - $start" | bc)" \
    "$(echo "$(stat -c %s "$page") / 1024" | bc -l)"
}
echo "tevo plot without outside tools (chart page and script only):"
run line line line.csv
run scatter scatter scatter.csv
run heat300 heatmap heat300.csv
run heat1000 heatmap heat1000.csv
