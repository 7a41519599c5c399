"""Alignment generator and NumPy reference of the neighbour count.

gen <file> <n> <sites> <seed>: families of mutated, gapped copies of a random
reference (fixed seed). count <trimmed a3m> <out>: for each sequence, the
number of others identical at >= 80% of sites, with timing.
"""
import sys
import time

import numpy as np

ALPHA = np.frombuffer(b"-ARNDCQEGHILKMFPSTWYV", dtype=np.uint8)


def gen(path, n, sites, seed):
    rng = np.random.default_rng(seed)
    ref = rng.integers(1, 21, sites)
    families = 400
    centres = np.repeat(ref[None, :], families, axis=0)
    m = rng.random(centres.shape) < 0.30
    centres[m] = rng.integers(1, 21, m.sum())
    rows = centres[rng.integers(0, families, n)]
    m = rng.random(rows.shape) < 0.08
    rows[m] = rng.integers(1, 21, m.sum())
    g = rng.random(rows.shape) < 0.04
    rows[g] = 0
    rows[0] = ref
    with open(path, "w") as f:
        for i, r in enumerate(rows):
            f.write(">seq%d\n%s\n" % (i, ALPHA[r].tobytes().decode()))


def read_a3m(path):
    seqs = [l.strip() for l in open(path) if l.strip() and not l.startswith(">")]
    lut = np.zeros(256, dtype=np.uint8)
    lut[ALPHA] = np.arange(21, dtype=np.uint8)
    return lut[np.frombuffer("".join(seqs).encode(), dtype=np.uint8)].reshape(len(seqs), -1)


def count(path, out):
    x = read_a3m(path)
    n, L = x.shape
    need = 0.8 * L
    t0 = time.perf_counter()
    c0 = time.process_time()
    counts = np.zeros(n, dtype=np.int64)
    block = 8
    for i in range(0, n, block):
        eq = (x[i:i + block, None, :] == x[None, :, :]).sum(axis=2, dtype=np.int32)
        counts[i:i + block] = (eq >= need).sum(axis=1) - 1  # minus the sequence itself
    seconds = time.perf_counter() - t0
    cpu = time.process_time() - c0
    np.savetxt(out, counts, fmt="%d")
    neff = float((1.0 / (1.0 + counts)).sum())
    print("BENCH numpy_s %.3f" % seconds)
    print("BENCH numpy_cpu_s %.3f" % cpu)
    print("BENCH numpy_neff %.6f" % neff)


if __name__ == "__main__":
    if sys.argv[1] == "gen":
        gen(sys.argv[2], int(sys.argv[3]), int(sys.argv[4]), int(sys.argv[5]))
    else:
        count(sys.argv[2], sys.argv[3])
