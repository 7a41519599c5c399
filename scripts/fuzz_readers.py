#!/usr/bin/env python3
"""Seeded mutation campaign over every input reader of tevo.

Each target is a command line with one input file. Seed files are mutated
(bit flips, cuts, splices, repeated or dropped lines, odd numbers, long
lines); compressed seeds are mutated both inside (recompressed, so the
reader sees damaged text) and outside (damaged compressed bytes). Every run
is classified:

  crash    a signal, a sanitizer report or an exit status other than 0/1
  hang     no exit within the time limit
  gz-ok-0  exit 0 on compressed input that gzip/bzip2 itself rejects

Any of the three is a finding: its input is kept under <out>/findings/.
Only the Python standard library is used.

  fuzz_readers.py --tevo build-sanitize/src/tevo --minutes 20 --out fuzz-out
"""
import argparse
import bz2
import gzip
import json
import os
import random
import re
import shutil
import subprocess
import sys
import tempfile
import time
import zlib

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
SHARED = os.path.join(os.path.dirname(ROOT), "shared", "data")

SANITIZER = re.compile(rb"AddressSanitizer|LeakSanitizer|UndefinedBehaviorSanitizer|runtime error:|"
                       rb"\*\*\* (SIGSEGV|SIGABRT|SIGFPE|SIGBUS|SIGILL)")


def first_lines(path, count):
    """The first `count` lines of a plain or gzip text file."""
    opener = gzip.open if path.endswith(".gz") else open
    with opener(path, "rb") as f:
        out = []
        for i, line in enumerate(f):
            if i >= count:
                break
            out.append(line)
    return b"".join(out)


def seed(relative, lines=None):
    """A seed from the repository or the shared data ('shared:' prefix); None when absent."""
    if relative.startswith("shared:"):
        path = os.path.join(SHARED, relative[len("shared:"):])
    else:
        path = os.path.join(ROOT, relative)
    if not os.path.exists(path):
        return None
    if lines:
        return first_lines(path, lines)
    with open(path, "rb") as f:
        return f.read()


# name -> (command line with {} for the input, file suffix, seeds, compression)
# compression: "" plain, "gz" or "bz2": seeds are plain text compressed by the campaign.
TARGETS = {
    "fastq_stats": (["atgc_stats", "-fastx", "{}"], ".fq",
                    ["shared:reads/fastq_edge_cases_biopython/example.fastq",
                     "shared:reads/fastq_edge_cases_biopython/illumina_full_range_as_sanger.fastq",
                     ("shared:reads/illumina_real/", 400)], ""),
    "fastq_gz_stats": (["atgc_stats", "-fastx", "{}"], ".fq.gz",
                       ["shared:reads/fastq_edge_cases_biopython/example.fastq",
                        ("shared:reads/art_simulated/hhv3_pe1001.fq.gz", 400)], "gz"),
    "fastq_quality": (["atgc_quality", "-fastx", "{}", "-n", "2"], ".fq",
                      ["shared:reads/fastq_edge_cases_biopython/example.fastq"], ""),
    "fastq_filter": (["read_filter", "-fastx", "{}", "-n", "20"], ".fq.gz",
                     ["shared:reads/fastq_edge_cases_biopython/example.fastq"], "gz"),
    "fastq_kmers": (["kmer_counter", "-fastx", "{}"], ".fq",
                    ["shared:reads/fastq_edge_cases_biopython/example.fastq"], ""),
    "fastq_correct": (["atgc_correct", "-fastx", "{}"], ".fq",
                      [("shared:reads/art_simulated/hhv3_pe1001.fq.gz", 200)], ""),
    "fasta_dna2aa": (["atgc_dna2aa", "-fastx", "{}"], ".fa",
                     ["shared:reads/fastq_edge_cases_biopython/example.fasta"], ""),
    "sff": (["sff2fastq", "-sff", "{}"], ".sff", ["sff-seeds"], ""),
    "pdb_parser": (["pdb_parser", "-pdb", "{}", "-type", "1"], ".pdb",
                   ["examples/1ubq.pdb", "shared:structures/single/1a0q.pdb",
                    "shared:structures/single/disordered.pdb"], ""),
    "pdb_gz_parser": (["pdb_parser", "-pdb", "{}", "-type", "2"], ".pdb.gz",
                      ["examples/1ubq.pdb"], "gz"),
    "pdb_contact": (["pdb_contact", "-pdb", "{}"], ".pdb",
                    ["examples/1ubq.pdb", ("shared:structures/single/pdb2k39_ca.pdb", 300)], ""),
    "fasta2pdb": (["fasta2pdb", "-fastx", "{}"], ".fa", [b">p one\nMQIFVKTLTGKTITLEVEPSDTIENVKAKIQDKEG\n"], ""),
    "msa_converter1": (["sequence_converter", "-msa", "{}", "-type", "1"], ".sto",
                       ["shared:msa/biopython_stockholm/simple.sth", "shared:msa/emboss_test/rrm.sto"], ""),
    "msa_converter2": (["sequence_converter", "-msa", "{}", "-type", "2"], ".txt",
                       [lambda: tabular_hits("examples/globins630.afa", 30)], ""),
    "msa_trim": (["sequence_trim", "-msa", "{}"], ".afa", [("examples/hba_globins.afa", 120)], ""),
    "msa_stats": (["sequence_stats", "-msa", "{}"], ".afa", [("examples/hba_globins.afa", 120)], ""),
    "msa_eca": (["sequence_eca", "-msa", "{}", "-max_iter", "2", "-threshold", "2.5"], ".afa",
                [("examples/hba_globins.afa", 120)], ""),
    "msa_a2m": (["sequence_trim", "-msa", "{}"], ".a2m",
                ["shared:msa/globins4_structure_members.a2m", "shared:msa/Pkinase_structure_members.a2m"], ""),
    "msa_gz_stats": (["sequence_stats", "-msa", "{}"], ".afa.gz", [("examples/hba_globins.afa", 80)], "gz"),
    "eca_potential": (["sequence_eca", "-msa", "examples/hba_globins.afa", "-threshold", "3", "-max_iter", "1",
                       "-mat", "{}"], ".txt", [b"# fields\n" + b"0.1 -0.2 0.3e-1\n" * 40], ""),
    "eca_structure": (["sequence_eca", "-msa", "examples/hba_globins.afa", "-threshold", "3", "-max_iter", "1",
                       "-pdb", "{}"], ".pdb", ["examples/2hhb_A.pdb"], ""),
    "matrix_pearson": (["stats_pearson", "-mat", "{}"], ".tsv", [("examples/iris.tsv", 60)], ""),
    "matrix_plot": (["plot", "-mat", "{}", "-kind", "heatmap"], ".tsv", [("examples/iris.tsv", 40)], ""),
}

ODD_NUMBERS = [b"nan", b"-nan", b"inf", b"-inf", b"1e309", b"-1e309", b"0", b"-1", b"2147483648",
               b"99999999999999999999", b"1e-320", b"", b"-", b"+", b".", b"0x1p3", b"1,5"]


def mutate(data, rng):
    """One to four random edits of `data`."""
    data = bytearray(data)
    for _ in range(rng.randint(1, 4)):
        kind = rng.randrange(10)
        n = len(data)
        if n == 0:
            data += bytes(rng.randrange(256) for _ in range(rng.randint(1, 64)))
            continue
        pos = rng.randrange(n)
        if kind == 0:  # bit flips
            for _ in range(rng.randint(1, 8)):
                p = rng.randrange(n)
                data[p] ^= 1 << rng.randrange(8)
        elif kind == 1:  # cut the tail
            del data[pos:]
        elif kind == 2:  # delete a range
            del data[pos:pos + rng.randint(1, 256)]
        elif kind == 3:  # insert random bytes
            data[pos:pos] = bytes(rng.randrange(256) for _ in range(rng.randint(1, 32)))
        elif kind == 4:  # duplicate a range elsewhere
            end = min(n, pos + rng.randint(1, 512))
            chunk = data[pos:end]
            q = rng.randrange(len(data) + 1)
            data[q:q] = chunk
        elif kind in (5, 6):  # whole lines: drop, repeat, swap, blank
            lines = bytes(data).split(b"\n")
            i = rng.randrange(len(lines))
            op = rng.randrange(4)
            if op == 0:
                del lines[i]
            elif op == 1:
                lines.insert(i, lines[rng.randrange(len(lines))])
            elif op == 2:
                j = rng.randrange(len(lines))
                lines[i], lines[j] = lines[j], lines[i]
            else:
                lines.insert(i, b"")
            data = bytearray(b"\n".join(lines))
        elif kind == 7:  # an odd number in place of a number
            matches = list(re.finditer(rb"-?\d+(\.\d+)?([eE][-+]?\d+)?", bytes(data)))
            if matches:
                m = rng.choice(matches)
                data[m.start():m.end()] = rng.choice(ODD_NUMBERS)
        elif kind == 8:  # one very long line
            data[pos:pos] = bytes([rng.choice(b"ACGT-.#>@+XY0123456789 ")]) * rng.choice([1000, 70000, 300000])
        else:  # control characters, NUL, CR
            data[pos:pos] = rng.choice([b"\0", b"\r", b"\r\n", b"\t", b"\x1b[31m", b"\xff\xfe"])
    return bytes(data)


def tabular_hits(relative, count):
    """Search hits as "subject<TAB>aligned query" lines, made from an aligned FASTA file."""
    text = seed(relative, count * 4)
    if text is None:
        return None
    out, name, rows = [], None, []
    for line in text.split(b"\n") + [b">"]:
        if line.startswith(b">"):
            if name is not None and rows:
                out.append(name + b"\t" + b"".join(rows))
            name, rows = line[1:].split(b" ")[0], []
        else:
            rows.append(line.strip())
    return b"\n".join(out[:count]) + b"\n"


def compress(data, how):
    if how == "gz":
        return gzip.compress(data, mtime=0)
    if how == "bz2":
        return bz2.compress(data)
    return data


def compressed_is_damaged(data, how):
    """True when gzip/bzip2 itself would reject the bytes (not trailing garbage alone)."""
    try:
        if how == "gz":
            d = zlib.decompressobj(31)
            d.decompress(data)
            if not d.eof:
                return True
            rest = d.unused_data
            while rest[:2] == b"\x1f\x8b":  # a further member must be whole too
                d = zlib.decompressobj(31)
                d.decompress(rest)
                if not d.eof:
                    return True
                rest = d.unused_data
            return False
        if how == "bz2":
            bz2.decompress(data)
            return False
    except (zlib.error, OSError, ValueError, EOFError):
        return True
    return False


def sff_seeds():
    folder = os.path.join(SHARED, "reads", "sff_biopython")
    if not os.path.isdir(folder):
        return []
    out = []
    for name in sorted(os.listdir(folder)):
        path = os.path.join(folder, name)
        if name.endswith(".sff") and os.path.getsize(path) < 200_000:
            with open(path, "rb") as f:
                out.append(f.read())
    return out[:6]


def load_seeds(spec):
    out = []
    for s in spec:
        if isinstance(s, bytes):
            out.append(s)
        elif callable(s):
            data = s()
            if data:
                out.append(data)
        elif s == "sff-seeds":
            out.extend(sff_seeds())
        elif isinstance(s, tuple):
            path, lines = s
            if path.endswith("/"):  # the first file of a folder
                folder = os.path.join(SHARED, path[len("shared:"):])
                if not os.path.isdir(folder):
                    continue
                files = sorted(f for f in os.listdir(folder) if re.search(r"\.f(ast)?q(\.gz)?$", f))
                if not files:
                    continue
                path = "shared:" + path[len("shared:"):] + files[0]
            data = seed(path, lines)
            if data:
                out.append(data)
        else:
            data = seed(s)
            if data:
                out.append(data)
    return out


def run_one(tevo, args, workdir, timeout):
    env = dict(os.environ)
    env.setdefault("ASAN_OPTIONS", "detect_leaks=1:abort_on_error=1")
    env.setdefault("UBSAN_OPTIONS", "print_stacktrace=1:halt_on_error=1")
    env["TEVO_NO_IMAGES"] = "1"
    env["OMP_NUM_THREADS"] = "1"
    start = time.time()
    try:
        p = subprocess.run([tevo] + args, cwd=workdir, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                           timeout=timeout, env=env)
    except subprocess.TimeoutExpired:
        return "hang", None, b"", time.time() - start
    return None, p.returncode, p.stdout + p.stderr, time.time() - start


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument("--tevo", required=True, help="the tevo binary (a sanitizer build)")
    ap.add_argument("--minutes", type=float, default=20.0, help="total budget, shared by the targets")
    ap.add_argument("--seed", type=int, default=20261124)
    ap.add_argument("--timeout", type=float, default=60.0, help="seconds before a run counts as a hang")
    ap.add_argument("--out", default="fuzz-out")
    ap.add_argument("--only", default="", help="comma-separated target names")
    opts = ap.parse_args()

    tevo = os.path.abspath(opts.tevo)
    names = [n for n in TARGETS if not opts.only or n in opts.only.split(",")]
    seeds = {n: load_seeds(TARGETS[n][2]) for n in names}
    names = [n for n in names if seeds[n]]
    if not names:
        sys.exit("no target has a seed file")
    os.makedirs(os.path.join(opts.out, "findings"), exist_ok=True)
    budget = opts.minutes * 60.0 / len(names)
    rng = random.Random(opts.seed)
    table = []
    for name in names:
        args, suffix, _, how = TARGETS[name]
        counts = {"runs": 0, "exit0": 0, "exit1": 0, "crash": 0, "hang": 0, "gz-ok-0": 0, "damaged": 0}
        end = time.time() + budget
        while time.time() < end:
            text = rng.choice(seeds[name])
            if how and rng.random() < 0.5:
                data = mutate(compress(text, how), rng)  # damaged container
            else:
                data = compress(mutate(text, rng), how)  # damaged content
            damaged = bool(how) and compressed_is_damaged(data, how)
            counts["damaged"] += damaged
            with tempfile.TemporaryDirectory(prefix="tevo-fuzz-") as work:
                path = os.path.join(work, "input" + suffix)
                with open(path, "wb") as f:
                    f.write(data)
                call = [os.path.join(ROOT, a) if a.startswith("examples/") else a.replace("{}", path)
                        for a in args] + ["-jobname", "f"]
                verdict, status, text_out, _ = run_one(tevo, call, work, opts.timeout)
            counts["runs"] += 1
            if verdict is None:
                if status not in (0, 1) or SANITIZER.search(text_out):
                    verdict = "crash"
                elif status == 0 and damaged:
                    verdict = "gz-ok-0"
                else:
                    counts["exit%d" % status] += 1
            if verdict:
                counts[verdict] += 1
                k = counts[verdict]
                stem = os.path.join(opts.out, "findings", "%s-%s-%d" % (name, verdict, k))
                with open(stem + suffix, "wb") as f:
                    f.write(data)
                with open(stem + ".txt", "wb") as f:
                    f.write(("tevo " + " ".join(call) + "\nstatus %s\n" % status).encode() + (text_out or b"")[-20000:])
        table.append((name, counts))
        print("%-16s %s" % (name, json.dumps(counts)), flush=True)

    print()
    print("| target | runs | exit 0 | exit 1 | damaged compressed | crashes | hangs | exit 0 on damaged |")
    print("|---|---|---|---|---|---|---|---|")
    total = {"runs": 0, "crash": 0, "hang": 0, "gz-ok-0": 0}
    for name, c in table:
        print("| %s | %d | %d | %d | %d | %d | %d | %d |" % (name, c["runs"], c["exit0"], c["exit1"], c["damaged"],
                                                           c["crash"], c["hang"], c["gz-ok-0"]))
        for k in total:
            total[k] += c[k]
    print("| all | %d | | | | %d | %d | %d |" % (total["runs"], total["crash"], total["hang"], total["gz-ok-0"]))
    sys.exit(1 if total["crash"] or total["hang"] or total["gz-ok-0"] else 0)


if __name__ == "__main__":
    main()
