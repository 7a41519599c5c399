#!/usr/bin/python3
"""Native recognition by the folding energy: each held-out chain (the
structures of Debian's t-coffee-examples, which never enter the tables) is
scored with its own sequence and with 20 shuffles of it on the same backbone
(backbone and CB atoms only, glycines kept in place), by `tevo fold_energy`
with the shipped configuration. Whole chains of the first model (residues
without a full backbone left out), at least 30 residues, each sequence once.
All decoys go to one PDB file, one chain each, scored in one run. Prints, per
chain, how many shuffles score above the native sequence.

    /usr/bin/python3 bench/energy_recognition.py [tevo] [--cache DIR]
"""
import argparse
import os
import random
import re
import subprocess
import sys
import tempfile

import numpy as np

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "scripts"))
import energy_tables as et  # noqa: E402

SHUFFLES = 20
CHAIN_IDS = "ABCDEFGHIJKLMNOPQRSTUVWXYZ"


def pdb_text(chains):
    lines, serial = [], 0
    for k, (names, xyz) in enumerate(chains):
        cid = CHAIN_IDS[k % len(CHAIN_IDS)]
        for i, name in enumerate(names):
            for k, atom in enumerate(et.ATOMS):
                if atom == "CB" and name == "GLY":
                    continue
                p = xyz[i, k]
                if p[0] != p[0]:
                    continue
                serial += 1
                lines.append("ATOM  %5d  %-3s %3s %s%4d    %8.3f%8.3f%8.3f  1.00  0.00           %s"
                             % (serial % 100000, atom, name, cid, i + 1, p[0], p[1], p[2], atom[0]))
        lines.append("TER")
    lines.append("END")
    return "\n".join(lines) + "\n"


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    ap = argparse.ArgumentParser()
    ap.add_argument("tevo", nargs="?", default=os.path.join(here, "..", "build", "src", "tevo"))
    ap.add_argument("--cache", default="/work/cache/energy")
    ap.add_argument("--cfg", default=os.path.join(here, "..", "data", "cfg", "fold_energy.cfg"))
    args = ap.parse_args()
    roots = et.fetch(args.cache)
    rng = random.Random(17)
    seen, cases, decoys = set(), [], []
    for path in et.structure_files(roots[et.HELD_OUT]):
        for residues in et.read_chains(path, split=False):
            if len(residues) < et.MIN_RESIDUES:
                continue
            ch = et.Chain(residues, "")
            if ch.seq in seen:
                continue
            seen.add(ch.seq)
            names = [et.THREE[c] for c in ch.codes]
            movable = [i for i, n in enumerate(names) if n != "GLY"]
            # Centred, so that every coordinate fits the 8 columns of PDB text.
            xyz = ch.xyz - np.nanmean(ch.xyz[:, 1], axis=0)
            decoys.append((names, xyz))
            for _ in range(SHUFFLES):
                pool = [names[i] for i in movable]
                rng.shuffle(pool)
                shuffled = list(names)
                for i, n in zip(movable, pool):
                    shuffled[i] = n
                decoys.append((shuffled, xyz))
            cases.append((os.path.basename(path).split(".")[0], ch.n))
    results = []
    with tempfile.TemporaryDirectory() as tmp:
        pdb = os.path.join(tmp, "decoys.pdb")
        with open(pdb, "w") as f:
            f.write(pdb_text(decoys))
        run = subprocess.run([args.tevo, "fold_energy", "-pdb", pdb, "-cfg", args.cfg, "-output", tmp],
                             capture_output=True, text=True)
    energies = [float(x) for x in re.findall(r"Total energy: (-?[0-9.]+)", run.stdout)]
    if len(energies) != len(decoys):
        print(run.stdout[-3000:], file=sys.stderr)
        sys.exit("fold_energy scored %d of %d chains" % (len(energies), len(decoys)))
    for k, (label, n) in enumerate(cases):
        block = energies[k * (SHUFFLES + 1):(k + 1) * (SHUFFLES + 1)]
        native, above = block[0], sum(e > block[0] for e in block[1:])
        results.append((label, n, native, above))
        print("%-8s %4d residues  native %10.3f  shuffles above native %2d/%d" % (label, n, native, above, SHUFFLES))
    total = sum(r[3] for r in results)
    cases = SHUFFLES * len(results)
    print("chains %d, native below the shuffle in %d of %d cases (%.1f%%); chains with all %d: %d"
          % (len(results), total, cases, 100.0 * total / max(cases, 1), SHUFFLES,
             sum(r[3] == SHUFFLES for r in results)))


if __name__ == "__main__":
    main()
