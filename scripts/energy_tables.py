#!/usr/bin/python3
"""Rebuilds the parameter tables of the folding energy and the sampler under
data/cfg/ from protein structures shipped by Debian packages.

    /usr/bin/python3 scripts/energy_tables.py [--cache DIR] [--out data/cfg]

The packages are fetched with `apt-get download` into the cache folder
(default /work/cache/energy) and unpacked there. The same package versions
give the same tables, byte for byte (see docs/energy_data.md).

Every table is a statistical potential: counts observed in the structures
against a reference, with pseudocounts and smoothing, each chain weighted by
one over the size of its family so that large families (189 trypsins) do not
dominate. The structure definitions (hydrogen placement, hydrogen bonds,
secondary structure, burial counts) are those of the program
(src/folding/energy/backbone.cpp, burial.cpp); keep both in step.

Adding a table: write a function that takes the list of chains and returns
rows, and call it from main() with write_table().
"""
import argparse
import bz2
import glob
import gzip
import math
import os
import subprocess
import sys

import numpy as np

AA = "ARNDCQEGHILKMFPSTWYV"
THREE = ["ALA", "ARG", "ASN", "ASP", "CYS", "GLN", "GLU", "GLY", "HIS", "ILE",
         "LEU", "LYS", "MET", "PHE", "PRO", "SER", "THR", "TRP", "TYR", "VAL"]
CODE = {name: k for k, name in enumerate(THREE)}
GLY, PRO = CODE["GLY"], CODE["PRO"]

# Packages whose structures build the tables. t-coffee-examples is held out:
# its structures evaluate the tables and never enter them.
PACKAGES = ["theseus-examples", "pymol-data", "python3-prody-tests", "emboss-test",
            "mustang-testdata", "rdkit-data", "python-biopython-doc", "python3-cctbx"]
HELD_OUT = "t-coffee-examples"
MIN_RESIDUES = 30

# Atom order in a residue array and the DOPE-PW atom-type numbers.
ATOMS = ["N", "CA", "C", "O", "CB"]
DOPE_TYPE = {"N": 0, "CA": 2, "CB": 3, "C": 6, "O": 7}
DOPE_STEMS = ["pw_ee_cont", "pw_hh_cont", "pw_cc_cont", "pw_0eeap_ncont", "pw_0eep_ncont",
              "pw_0a_ncont", "pw_1a_ncont", "pw_2a_ncont"]
DOPE_CUTOFF = [15.0, 15.0, 15.0, 30.0, 30.0, 30.0, 30.0, 30.0]
DOPE_BINS = 30

# Burial groups as data/cfg/burial.cfg sets them: (threshold, neighbors,
# cone angle, bins); bin size 1.
BURIAL = {"cb": (12.0, 2, 180.0, 50), "nh": (8.0, 2, 130.0, 40), "co": (8.0, 2, 130.0, 40)}


# ---- structures ---------------------------------------------------------------

def fetch(cache):
    """Downloads and unpacks each package once; returns {package: root}."""
    roots = {}
    os.makedirs(cache, exist_ok=True)
    for pkg in PACKAGES + [HELD_OUT]:
        root = os.path.join(cache, "x", pkg)
        if not os.path.isdir(root):
            debs = glob.glob(os.path.join(cache, pkg + "_*.deb"))
            if not debs:
                subprocess.run(["apt-get", "download", pkg], cwd=cache, check=True)
                debs = glob.glob(os.path.join(cache, pkg + "_*.deb"))
            subprocess.run(["dpkg", "-x", debs[0], root], check=True)
        roots[pkg] = root
    return roots


def versions(cache):
    out = {}
    for deb in sorted(glob.glob(os.path.join(cache, "*.deb"))):
        name = os.path.basename(deb).split("_")
        out[name[0]] = name[1]
    return out


def structure_files(root):
    pats = ["**/*.pdb", "**/*.ent", "**/*.pdb.gz", "**/*.ent.gz"]
    files = set()
    for p in pats:
        files.update(glob.glob(os.path.join(root, p), recursive=True))
    return sorted(files)


def read_chains(path, split=True):
    """Chains of the first model: lists of residues (code, {atom: xyz}),
    first alternate location, split where C(i-1)..N(i) exceeds 2.0 A (with
    `split` False: whole chains, residues without a full backbone left out)."""
    opener = gzip.open if path.endswith(".gz") else open
    try:
        with opener(path, "rt", errors="replace") as f:
            lines = f.readlines()
    except OSError:
        return []
    chains, order = {}, []
    for line in lines:
        if line.startswith("ENDMDL"):
            break
        if not line.startswith("ATOM") or len(line) < 54:
            continue
        alt = line[16]
        if alt not in " A1":
            continue
        name, res, chain = line[12:16].strip(), line[17:20].strip(), line[21]
        key = line[22:27]
        if res not in CODE or name not in ATOMS:
            continue
        try:
            xyz = np.array([float(line[30:38]), float(line[38:46]), float(line[46:54])])
        except ValueError:
            continue
        if chain not in chains:
            chains[chain] = {}
            order.append(chain)
        residues = chains[chain]
        if key not in residues:
            residues[key] = (CODE[res], {})
        residues[key][1].setdefault(name, xyz)
    out = []
    for chain in order:
        segment = []
        for code, atoms in chains[chain].values():
            if not all(a in atoms for a in ("N", "CA", "C", "O")):
                if not split:
                    continue
                if len(segment) >= MIN_RESIDUES:
                    out.append(segment)
                segment = []
                continue
            if split and segment and np.linalg.norm(segment[-1][1]["C"] - atoms["N"]) > 2.0:
                if len(segment) >= MIN_RESIDUES:
                    out.append(segment)
                segment = []
            segment.append((code, atoms))
        if len(segment) >= MIN_RESIDUES:
            out.append(segment)
    return out


class Chain:
    """Arrays of one chain: codes [n], xyz [n, 5, 3] (CB NaN when absent),
    HN [n, 3] (NaN for the first residue and prolines)."""

    def __init__(self, residues, family):
        self.family = family
        self.codes = np.array([c for c, _ in residues])
        self.n = len(residues)
        self.xyz = np.full((self.n, 5, 3), np.nan)
        for i, (_, atoms) in enumerate(residues):
            for k, a in enumerate(ATOMS):
                if a in atoms:
                    self.xyz[i, k] = atoms[a]
        self.seq = "".join(AA[c] for c in self.codes)
        self.hn = np.full((self.n, 3), np.nan)
        for i in range(1, self.n):
            if self.codes[i] == PRO:
                continue
            N, CA, C = self.xyz[i, 0], self.xyz[i, 1], self.xyz[i - 1, 2]
            a, b = unit(C - N), unit(CA - N)
            self.hn[i] = N - unit(a + b)
        self.weight = 1.0


def unit(v):
    return v / (np.linalg.norm(v) + 2.220446049250313e-16)


def cosine_at(a, b, c):
    """Cosine of the angle a-b-c (vectors b - a and b - c), as three_vec_angle."""
    u, w = b - a, b - c
    return np.sum(u * w, axis=-1) / (np.sqrt(np.sum(u * u, axis=-1) * np.sum(w * w, axis=-1)) + 2.220446049250313e-16)


def dihedral(a, b, c, d):
    b1, b2, b3 = a - b, b - c, c - d
    p, q = np.cross(b2, b1), np.cross(b3, b2)
    cosv = np.clip(np.sum(p * q, -1) / (np.sqrt(np.sum(p * p, -1) * np.sum(q * q, -1)) + 2.22e-16), -1, 1)
    mag = np.degrees(np.arccos(cosv))
    sign = np.sum(np.cross(q, p) * b2, -1)
    return np.where(sign > 0, mag, np.where(sign < 0, -mag, 0.0))


def torsions(ch):
    """phi, psi, omega (omega of the bond before residue i); NaN at the ends."""
    x = ch.xyz
    phi = np.full(ch.n, np.nan)
    psi = np.full(ch.n, np.nan)
    omega = np.full(ch.n, np.nan)
    phi[1:] = dihedral(x[:-1, 2], x[1:, 0], x[1:, 1], x[1:, 2])
    psi[:-1] = dihedral(x[:-1, 0], x[:-1, 1], x[:-1, 2], x[1:, 0])
    omega[1:] = dihedral(x[:-1, 1], x[:-1, 2], x[1:, 0], x[1:, 1])
    return phi, psi, omega


def hbonds(ch):
    """hb[i, j]: O of i accepts from N-H of j (the program's rule)."""
    H, N = ch.hn[None, :, :], ch.xyz[None, :, 0]
    O, C = ch.xyz[:, None, 3], ch.xyz[:, None, 2]
    with np.errstate(invalid="ignore"):
        d = np.linalg.norm(H - O, axis=-1)
        ok = (d > 1.7) & (d < 2.6)
        ok &= cosine_at(N, H, O) < -0.766
        ok &= cosine_at(C, O, H) < 0.18
    np.fill_diagonal(ok, False)
    return ok


def secondary_structure(ch):
    """Classes (0 helix, 1 strand, 2 other), strand pairs and segments."""
    n = ch.n
    hb = hbonds(ch)
    phi, psi, _ = torsions(ch)
    cls = np.full(n, 2)
    run = 0
    for i in range(n + 1):
        helical = False
        if i < n and i >= 4:
            helical = (-90 < phi[i] < -40) and (-60 < psi[i] < -20) and hb[i - 4, i]
        if helical:
            run += 1
            continue
        if run > 4:
            cls[i - run:i] = 0
        run = 0
    strand = np.zeros((n, n), dtype=np.int8)

    def h(a, d):
        return 0 <= a < n and 0 <= d < n and hb[a, d]

    def mark(i, j, kind):
        if 0 <= i < n and 0 <= j < n:
            strand[i, j] = strand[j, i] = kind

    if n >= 7:
        cand = np.argwhere(hb | hb.T)
        pairs = set()
        for a, b in cand:
            for i in (a - 1, a, a + 1):
                for j in (b - 1, b, b + 1):
                    if 1 <= i < j - 4 and j + 1 < n:
                        pairs.add((i, j))
        for i, j in sorted(pairs):
            par = (h(i - 1, j) and h(j, i + 1)) or (h(j - 1, i) and h(i, j + 1))
            anti = (h(i, j) and h(j, i)) or (h(i - 1, j + 1) and h(j - 1, i + 1))
            if anti:
                mark(i, j, 2), mark(i - 1, j + 1, 2), mark(i + 1, j - 1, 2)
            elif par:
                mark(i, j, 1), mark(i - 1, j - 1, 1), mark(i + 1, j + 1, 1)
        for i in range(n):
            if cls[i] != 0 and strand[i].any():
                cls[i] = 1
    seg = np.zeros(n, dtype=int)
    s = 0
    for i in range(1, n):
        if cls[i] != cls[i - 1] or np.linalg.norm(ch.xyz[i - 1, 2] - ch.xyz[i, 0]) > 2.0:
            s += 1
        seg[i] = s
    return cls, strand, seg


def weigh_families(chains):
    """Weight 1 / family size. Families: the theseus example folder, else
    single-linkage clusters of chains sharing a third of their 3-mers."""
    kmers = [set(c.seq[k:k + 3] for k in range(len(c.seq) - 2)) for c in chains]
    parent = list(range(len(chains)))

    def find(a):
        while parent[a] != a:
            parent[a] = parent[parent[a]]
            a = parent[a]
        return a

    for i in range(len(chains)):
        for j in range(i):
            same = chains[i].family and chains[i].family == chains[j].family
            if not same:
                inter = len(kmers[i] & kmers[j])
                same = inter >= 0.33 * min(len(kmers[i]), len(kmers[j]))
            if same:
                parent[find(i)] = find(j)
    size = {}
    for i in range(len(chains)):
        size[find(i)] = size.get(find(i), 0) + 1
    for i, c in enumerate(chains):
        c.weight = 1.0 / size[find(i)]
    return len(size)


def load(roots, log):
    chains, seen = [], set()
    for pkg in PACKAGES:
        for path in structure_files(roots[pkg]):
            family = ""
            if pkg == "theseus-examples":
                parts = path.split("/examples/")[1].split("/")
                family = parts[0] if len(parts) > 1 else ""
            for residues in read_chains(path):
                ch = Chain(residues, family)
                if ch.seq in seen:
                    continue
                seen.add(ch.seq)
                chains.append(ch)
    families = weigh_families(chains)
    log.append(f"{len(chains)} distinct chains, {sum(c.n for c in chains)} residues, {families} families")
    return chains


# ---- tables -------------------------------------------------------------------

def smooth1(v, passes=1):
    for _ in range(passes):
        p = np.pad(v, 1, mode="edge")
        v = (p[:-2] + 2 * p[1:-1] + p[2:]) / 4
    return v


def dope_tables(chains):
    """Counts by (table, type A, type B, atom A, atom B, bin) and the tables:
    E = -ln(p_obs / p_ref), p_ref pooled over atom pairs of the same table;
    backbone atom pairs pooled over residue types, CB-CB pairs per type pair
    shrunk toward the pooled CB-CB histogram (50 pseudo-observations)."""
    nt = len(DOPE_STEMS)
    pooled = np.zeros((nt, 5, 5, DOPE_BINS))
    cbcb = np.zeros((nt, 20, 20, DOPE_BINS))
    for ch in chains:
        cls, strand, seg = secondary_structure(ch)
        n = ch.n
        a_idx, b_idx = np.triu_indices(n, 2)
        same = seg[a_idx] == seg[b_idx]
        t = np.where(same, np.where(cls[a_idx] == 0, 1, np.where(cls[a_idx] == 1, 0, 2)), -1)
        rel = strand[a_idx, b_idx]
        t = np.where((t < 0) & (rel == 2), 3, np.where((t < 0) & (rel == 1), 4, t))
        pc = np.where((cls[a_idx] == 0) & (cls[b_idx] == 0), 0,
                      np.where((cls[a_idx] == 1) & (cls[b_idx] == 1), 1, 2))
        t = np.where(t < 0, 5 + pc, t)
        d = np.linalg.norm(ch.xyz[a_idx][:, :, None, :] - ch.xyz[b_idx][:, None, :, :], axis=-1)
        width = np.array(DOPE_CUTOFF)[t] / DOPE_BINS
        k = np.floor(d / width[:, None, None])
        valid = np.isfinite(k) & (k < DOPE_BINS)
        kk = np.where(valid, k, 0).astype(int)
        for ia in range(5):
            for ib in range(5):
                v = valid[:, ia, ib]
                np.add.at(pooled, (t[v], ia, ib, kk[v, ia, ib]), ch.weight)
        v = valid[:, 4, 4]
        np.add.at(cbcb, (t[v], ch.codes[a_idx][v], ch.codes[b_idx][v], kk[v, 4, 4]), ch.weight)
    tables = []
    for ti in range(nt):
        ref = pooled[ti].sum(axis=(0, 1))
        ref_p = smooth1(ref) / max(ref.sum(), 1e-12)

        def energy(counts):
            p = smooth1(counts + 0.5) / (counts.sum() + 0.5 * DOPE_BINS)
            e = np.where(ref_p > 0, -np.log(np.maximum(p, 1e-12) / np.maximum(ref_p, 1e-12)), 0.0)
            return np.clip(e, -3.0, 3.0)

        pair_e = {(ia, ib): energy(pooled[ti, ia, ib]) for ia in range(5) for ib in range(5)}
        cb_all = pooled[ti, 4, 4]
        cb_p = cb_all / max(cb_all.sum(), 1e-12)
        rows = []
        for A in range(20):
            for B in range(20):
                n_ab = cbcb[ti, A, B]
                shrunk = n_ab + 50.0 * cb_p
                for ia, na in enumerate(ATOMS):
                    for ib, nb in enumerate(ATOMS):
                        if na == "CB" and nb == "CB":
                            e = energy(shrunk * (cb_all.sum() / max(shrunk.sum(), 1e-12)))
                        else:
                            e = pair_e[(ia, ib)]
                        rows.append([A, DOPE_TYPE[na], B, DOPE_TYPE[nb]] + list(e))
        tables.append(rows)
    return tables


def burial_counts(ch, kind):
    """Counts of the program's calc_burial for every residue (-1: no group)."""
    threshold, neighbors, cone, bins = BURIAL[kind]
    x = ch.xyz
    if kind == "cb":
        centre, axis = x[:, 4], x[:, 4] - x[:, 1]
        targets = x[:, 1:2]  # CA
    elif kind == "nh":
        centre, axis = x[:, 0], ch.hn - x[:, 0]
        targets = x[:, [0, 1, 2, 3, 4]]
    else:
        centre, axis = x[:, 3], x[:, 3] - x[:, 2]
        targets = x[:, [0, 1, 2, 3, 4]]
    axis = axis / (np.linalg.norm(axis, axis=-1, keepdims=True) + 2.220446049250313e-16)
    cos_limit = math.cos(math.radians(cone * 0.5))
    v = targets[None, :, :, :] - centre[:, None, None, :]
    d2 = np.sum(v * v, -1)
    with np.errstate(invalid="ignore"):
        cosv = np.sum(v * axis[:, None, None, :], -1) / (np.sqrt(d2) + 2.220446049250313e-16)
        hit = (d2 <= threshold ** 2) & (d2 > 0) & (cosv >= cos_limit)
    sep = np.abs(np.arange(ch.n)[:, None] - np.arange(ch.n)[None, :])
    hit &= (sep >= neighbors)[:, :, None]
    counts = hit.sum(axis=(1, 2))
    counts = np.minimum(counts, bins - 1)
    has = np.all(np.isfinite(centre), -1) & np.all(np.isfinite(axis), -1)
    return np.where(has, counts, -1)


def burial_table(chains, kind):
    """E(type, bin) = -ln(p(bin | type) / p(bin)), p(bin | type) shrunk
    toward p(bin) with 20 pseudo-observations, both smoothed over bins."""
    bins = BURIAL[kind][3]
    counts = np.zeros((20, bins))
    for ch in chains:
        c = burial_counts(ch, kind)
        ok = c >= 0
        np.add.at(counts, (ch.codes[ok], c[ok]), ch.weight)
    pooled = smooth1(counts.sum(0))
    p_ref = pooled / max(pooled.sum(), 1e-12)
    rows = []
    for a in range(20):
        row = smooth1(counts[a]) + 20.0 * p_ref
        p = row / max(row.sum(), 1e-12)
        e = np.where(p_ref > 0, -np.log(np.maximum(p, 1e-12) / np.maximum(p_ref, 1e-12)), 0.0)
        rows.append([a] + list(np.clip(e, -3, 3)))
    return rows


def general_bin(a, b):
    ka = np.clip(np.floor(np.floor(a + 180) / 20), 0, 17)
    kb = np.clip(np.floor(np.floor(b + 180) / 20), 0, 17)
    return (ka + 18 * kb).astype(int)


def sampler_tables(chains):
    """omega: cis probability by (residue i-1, residue i); the four pair tables
    [324 bins x 400 pairs]: p(bin | pair) shrunk toward the pooled p(bin)
    with 20 pseudo-observations; bins never seen in any pair stay 0."""
    cis = np.zeros((20, 20))
    tot = np.zeros((20, 20))
    names = ["psi_phi", "psi_psi", "phi_phi", "phi_psi_long"]
    counts = {k: np.zeros((324, 400)) for k in names}
    for ch in chains:
        phi, psi, omega = torsions(ch)
        a, b = ch.codes[:-1], ch.codes[1:]
        om = omega[1:]
        ok = np.isfinite(om)
        np.add.at(tot, (a[ok], b[ok]), ch.weight)
        np.add.at(cis, (a[ok], b[ok]), ch.weight * (np.abs(om[ok]) < 30))
        pair = (b * 20 + a)
        p_phi, p_psi, n_phi, n_psi = phi[:-1], psi[:-1], phi[1:], psi[1:]
        for name, (x, y) in {"psi_phi": (p_psi, n_phi), "psi_psi": (p_psi, n_psi),
                             "phi_phi": (p_phi, n_phi), "phi_psi_long": (p_phi, n_psi)}.items():
            ok = np.isfinite(x) & np.isfinite(y)
            np.add.at(counts[name], (general_bin(x[ok], y[ok]), pair[ok]), ch.weight)
    by_b = (cis.sum(0) + 0.01) / (tot.sum(0) + 1.0)
    omega_rows = [list((cis[a] + 10 * by_b) / (tot[a] + 10)) for a in range(20)]
    tables = {}
    for name in names:
        c = counts[name]
        pooled = c.sum(1)
        p_ref = pooled / max(pooled.sum(), 1e-12)
        p = (c + 20 * p_ref[:, None]) / (c.sum(0)[None, :] + 20)
        tables[name] = p
    return omega_rows, tables


def rama_types(chains):
    """Per-type maps of 5-degree bins [20 x 72*72] (psi row x 72 + phi column),
    smoothed twice by [1 2 1] and shrunk toward the pooled map (20)."""
    counts = np.zeros((20, 72, 72))
    for ch in chains:
        phi, psi, _ = torsions(ch)
        ok = np.isfinite(phi) & np.isfinite(psi)
        r = np.clip(np.floor((psi[ok] + 180) / 5), 0, 71).astype(int)
        c = np.clip(np.floor((phi[ok] + 180) / 5), 0, 71).astype(int)
        np.add.at(counts, (ch.codes[ok], r, c), ch.weight)

    def smooth2(m):
        for _ in range(2):
            m = (np.roll(m, 1, 0) + 2 * m + np.roll(m, -1, 0)) / 4
            m = (np.roll(m, 1, 1) + 2 * m + np.roll(m, -1, 1)) / 4
        return m

    pooled = smooth2(counts.sum(0))
    p_ref = pooled / pooled.sum()
    rows = []
    for a in range(20):
        s = smooth2(counts[a])
        p = (s + 20 * p_ref) / (s.sum() + 20)
        rows.append(list(p.ravel()))
    return rows


# ---- writing ------------------------------------------------------------------

def fmt(v, decimals):
    if isinstance(v, (int, np.integer)):
        return str(int(v))
    text = f"{v:.{decimals}f}"
    if "." in text:
        text = text.rstrip("0").rstrip(".")
    return "0" if text in ("-0", "") else text


def write_table(path, rows, decimals, header):
    text = "".join("# " + h + "\n" for h in header)
    text += "".join("\t".join(fmt(v, decimals) for v in row) + "\n" for row in rows)
    os.makedirs(os.path.dirname(path), exist_ok=True)
    # Fixed block size and no time stamp: bz2 output depends on the text only.
    with open(path, "wb") as f:
        f.write(bz2.compress(text.encode(), 9))


def main():
    ap = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    ap.add_argument("--cache", default="/work/cache/energy")
    ap.add_argument("--out", default=os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "data", "cfg"))
    args = ap.parse_args()
    roots = fetch(args.cache)
    log = []
    chains = load(roots, log)
    ver = versions(args.cache)
    source = "from " + ", ".join(f"{p} {ver.get(p, '?')}" for p in PACKAGES)
    print(log[0], file=sys.stderr)
    head = ["made by scripts/energy_tables.py", source, log[0]]

    for stem, rows in zip(DOPE_STEMS, dope_tables(chains)):
        write_table(os.path.join(args.out, "dope", stem + ".par.bz2"), rows, 2,
                    head + ["residue A, atom type A, residue B, atom type B, 30 bins (kT)"])
    for kind in BURIAL:
        write_table(os.path.join(args.out, "burial", kind + "_burial.par.bz2"), burial_table(chains, kind), 3,
                    head + ["residue code, energy per count of atoms (kT)"])
    omega_rows, pair_tables = sampler_tables(chains)
    write_table(os.path.join(args.out, "dsa", "omega_numeric.par.bz2"), omega_rows, 4,
                head + ["cis probability, row residue i-1, column residue i"])
    for name, table in pair_tables.items():
        write_table(os.path.join(args.out, "dsa", name + "_numeric.par.bz2"), table.tolist(), 5,
                    head + ["probability, 324 bins (rows) x 400 residue pairs (columns)"])
    write_table(os.path.join(args.out, "dsa", "rama_types.par.bz2"), rama_types(chains), 6,
                head + ["probability per residue type (rows), bins psi x 72 + phi of 5 degrees"])
    print("tables written to " + os.path.normpath(args.out), file=sys.stderr)


if __name__ == "__main__":
    main()
