#!/usr/bin/env bash
# Rebuilds the shipped secondary-structure model data/pross/pross.model from
# the structures that Debian packages ship and ../shared/data/structures.
# Usage: scripts/pross_train.sh [cache dir]   (default ./pross-cache; needs
# apt-get, dpkg, mkdssp and a built tevo at build/src/tevo or $TEVO)
# Steps: download and unpack the packages, write the feature files in a
# fixed order (the order decides which of two identical chains is kept),
# train with the list data/pross/train_list.txt for 8 epochs (the epoch of
# the best validation accuracy) and copy that model into data/pross/.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cache=$(mkdir -p "${1:-pross-cache}" && cd "${1:-pross-cache}" && pwd)
tevo=${TEVO:-$root/build/src/tevo}
shared=$root/../shared/data/structures
features=$cache/features
x=$cache/x
packages="emboss-test mustang-testdata pymol-data python3-prody-tests python-biopython-doc python3-pdbfixer
          theseus-examples rdkit-data tm-align r-cran-bio3d pdb2pqr-doc"
cd "$cache"
for p in $packages; do
  ls "${p}"_*.deb > /dev/null 2>&1 || apt-get download "$p"
  [ -d "$x/$p" ] || { mkdir -p "$x/$p" && dpkg -x "${p}"_*.deb "$x/$p"; }
done
rm -rf "$features" "$cache/trypsins"
make() { bash "$root/scripts/pross_features.sh" "$@" 2> /dev/null | tail -1; }

# Single entries and the LDH family (first chain file of its first 20 entries).
ldh=$(ls "$x"/theseus-examples/usr/share/doc/theseus/examples/ldh/*.pdb.gz |
      awk -F/ '{ split($NF, a, "_"); if (!(a[1] in s)) { s[a[1]] = 1; print } }' | head -20)
make "$features" "$shared"/single/*.pdb "$shared"/single/1ni7.pdb.gz "$shared"/single/2BEG.pdb.gz \
  "$shared"/single/2hhb.ent "$x"/pymol-data/usr/share/pymol/data/demo/pept.pdb \
  $(find "$x"/pymol-data -name 3al1.pdb -o -name il2.pdb | sort -u | head -2) \
  $(find "$x"/python3-prody-tests -name 'pdb*.pdb' | grep -v -E 'charmm2namd|truncated|_ca|oneatom|RTER|1ubi') \
  $(find "$x"/emboss-test -name '*.ent' -o -name '*.pdb' | grep -v 133d) \
  $(find "$x"/python-biopython-doc -name '*.pdb.gz' | grep -v -E 'a_structure|2n0n') \
  $(find "$x"/python3-pdbfixer -name test.pdb) $ldh
make "$features" $(find "$x"/mustang-testdata -name '*.pdb' | sort)
make "$features" "$shared"/cytochromes_theseus/*.pdb*
make "$features" $(find "$x"/rdkit-data "$x"/tm-align -type f \( -iname '*.pdb' -o -iname '*.pdb.gz' \) -size +20k | sort) \
  "$x"/r-cran-bio3d/usr/lib/R/site-library/bio3d/examples/1hel.pdb
make "$cache/trypsins" "$shared"/trypsins_theseus/*.pdb.gz
cp "$cache"/trypsins/*.csv "$features"/

cd "$cache"
"$tevo" pross -phase 0 -dirt "$features" -index "$root/data/pross/train_list.txt" \
  -cfg "$root/data/pross/pross_topology.txt" -echo 8 -jobname pross_train | grep -E 'Training:|Test accuracy'
cp "$cache/tevo-output/pross_train/pross_train_8.model" "$root/data/pross/pross.model"
echo "model written to $root/data/pross/pross.model"
