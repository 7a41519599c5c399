"""NumPy reference of the pseudo-likelihood objective of the coupling fit.

Parameter layout (L sites, P = L(L-1)/2 pairs):
  field of state a at site i:               x[a*L + i]
  coupling of a at i with b at j, i < j:    x[21L + 441p + 21b + a],  p = j(j-1)/2 + i
Each stored block serves both conditionals (J_ji(b, a) = J_ij(a, b)).
Value: sum_s w_s sum_i -log p(x_si | rest) + lambda_h |h|^2 + lambda_j |J|^2,
softmax without subtracting the maximum.

eval <dir>   read eca_meta.txt, eca_states.u8, eca_weights.f64 (and tevo's
             eca_grad.f64) from <dir>; time the objective at
             x[k] = 0.01 sin(k+1); write eca_np_grad.f64; compare with tevo.
--selftest   gradient against central differences and against a plain loop
             over the layout, on a small random problem.
planted <coupling csv> <pairs file>
             how many planted pairs rank among the top pair scores.
"""
import sys
import time

import numpy as np

Q = 21
LAMBDA_H = 0.01
LAMBDA_J = 100.0


def start_point(n):
    return 0.01 * np.sin(np.arange(1, n + 1, dtype=np.float64))


def pair_sites(L):
    # tril_indices enumerates j ascending, then i < j ascending: block order.
    j, i = np.tril_indices(L, -1)
    return i, j


def full_couplings(x, L):
    """The (21L x 21L) matrix W with W[j*21+b, i*21+a] = J_ij(a, b), zero for i == j."""
    i, j = pair_sites(L)
    blocks = x[Q * L:].reshape(-1, Q, Q)  # [p, b, a]
    V = np.zeros((L, L, Q, Q))             # V[j, i, b, a]
    V[j, i] = blocks
    V[i, j] = blocks.transpose(0, 2, 1)
    return V.transpose(0, 2, 1, 3).reshape(Q * L, Q * L)


def fold_gradient(G, L):
    """Gradient of the stored blocks from dE/dW, G laid out like W."""
    i, j = pair_sites(L)
    GV = G.reshape(L, Q, L, Q).transpose(0, 2, 1, 3)  # [j, i, b, a]
    return (GV[j, i] + GV[i, j].transpose(0, 2, 1)).ravel()


def objective(x, X, w, lam_h=LAMBDA_H, lam_j=LAMBDA_J, blas=False):
    """Value and gradient. X: (N, L) states 0..20, w: (N,) weights."""
    N, L = X.shape
    nf = Q * L
    h = x[:nf].reshape(Q, L)
    W = full_couplings(x, L)
    rows = X + Q * np.arange(L)  # row of W selected by each (sequence, site)

    # Logits (N, 21L), site-major: column i*21 + a.
    if blas:
        onehot = np.zeros((N, nf))
        onehot[np.arange(N)[:, None], rows] = 1.0
        E = onehot @ W
    else:
        E = np.empty((N, nf))
        E[:] = h.T.ravel()
        for jj in range(L):  # vectorised over sequences: one gathered row each
            E += W[rows[:, jj]]
    if blas:
        E += h.T.ravel()
    E = E.reshape(N, L, Q)
    P = np.exp(E)
    Z = P.sum(axis=2)
    observed = np.take_along_axis(E, X[:, :, None], axis=2)[:, :, 0]
    value = float(w @ (np.log(Z) - observed).sum(axis=1))

    D = P / Z[:, :, None]
    D[np.arange(N)[:, None], np.arange(L)[None, :], X] -= 1.0
    D *= w[:, None, None]
    D = D.reshape(N, nf)

    g = np.empty_like(x)
    g[:nf] = D.sum(axis=0).reshape(L, Q).T.ravel()
    if blas:
        G = onehot.T @ D
    else:
        # G[j*21+b] = sum of D over the sequences with state b at j.
        G = np.zeros((nf, nf))
        for jj in range(L):
            order = np.argsort(X[:, jj], kind="stable")
            states, starts = np.unique(X[order, jj], return_index=True)
            G[jj * Q + states] = np.add.reduceat(D[order], starts, axis=0)
    if L >= 2:
        g[nf:] = fold_gradient(G, L)

    value += lam_h * float(x[:nf] @ x[:nf])
    g[:nf] += 2.0 * lam_h * x[:nf]
    if L >= 2:
        value += lam_j * float(x[nf:] @ x[nf:])
        g[nf:] += 2.0 * lam_j * x[nf:]
    return value, g


def objective_loops(x, X, w, lam_h=LAMBDA_H, lam_j=LAMBDA_J):
    """The same quantity written index by index from the layout (slow)."""
    N, L = X.shape
    value, g = 0.0, np.zeros_like(x)

    def cidx(i, j, a, b):  # i < j
        return Q * L + Q * Q * (j * (j - 1) // 2 + i) + Q * b + a

    for s in range(N):
        for i in range(L):
            logit = np.zeros(Q)
            for a in range(Q):
                logit[a] = x[a * L + i]
                for j in range(L):
                    if j == i:
                        continue
                    b = X[s, j]
                    logit[a] += x[cidx(i, j, a, b)] if i < j else x[cidx(j, i, b, a)]
            p = np.exp(logit) / np.exp(logit).sum()
            value -= w[s] * np.log(p[X[s, i]])
            for a in range(Q):
                d = w[s] * (p[a] - (a == X[s, i]))
                g[a * L + i] += d
                for j in range(L):
                    if j == i:
                        continue
                    b = X[s, j]
                    g[cidx(i, j, a, b) if i < j else cidx(j, i, b, a)] += d
    nf = Q * L
    value += lam_h * (x[:nf] ** 2).sum() + lam_j * (x[nf:] ** 2).sum()
    g[:nf] += 2 * lam_h * x[:nf]
    g[nf:] += 2 * lam_j * x[nf:]
    return value, g


def selftest():
    rng = np.random.default_rng(11)
    N, L = 40, 6
    X = rng.integers(0, Q, (N, L))
    w = rng.uniform(0.2, 1.0, N)
    n = Q * L + Q * Q * L * (L - 1) // 2
    x = 0.3 * rng.standard_normal(n)
    v, g = objective(x, X, w)
    vb, gb = objective(x, X, w, blas=True)
    vl, gl = objective_loops(x, X, w)
    ok = True
    # Same sums in another order: agreement to a few ulps of the totals.
    for name, (v2, g2) in {"blas": (vb, gb), "loops": (vl, gl)}.items():
        dv = abs(v - v2) / abs(v)
        dg = np.abs(g - g2).max() / np.abs(g).max()
        print("selftest %s: value rel diff %.2e, gradient max diff / max|g| %.2e" % (name, dv, dg))
        ok &= dv < 1e-12 and dg < 1e-12
    # Central differences on the data term alone (penalties off, value ~ 700)
    # and on the whole objective (value ~ 6e4). Step 1e-4: truncation error
    # ~ step^2 * |f'''| ~ 1e-8 and rounding ~ 1e-16 * value / step <= 1e-7,
    # both far below the 1e-6 tolerance relative to max(|g_k|, 0.1).
    coords = np.concatenate([rng.choice(Q * L, 8, replace=False),
                             Q * L + rng.choice(n - Q * L, 16, replace=False)])
    step = 1e-4
    for lam in ((0.0, 0.0), (LAMBDA_H, LAMBDA_J)):
        gk = objective(x, X, w, *lam)[1]
        worst = 0.0
        for k in coords:
            xp, xm = x.copy(), x.copy()
            xp[k] += step
            xm[k] -= step
            fd = (objective(xp, X, w, *lam)[0] - objective(xm, X, w, *lam)[0]) / (2 * step)
            worst = max(worst, abs(fd - gk[k]) / max(abs(gk[k]), 0.1))
        print("selftest finite differences, lambdas %g %g (%d coordinates): max rel diff %.2e"
              % (lam[0], lam[1], len(coords), worst))
        ok &= worst < 1e-6
    print("selftest", "passed" if ok else "FAILED")
    return 0 if ok else 1


def timed(fn, repeats):
    best, best_cpu, out = float("inf"), float("inf"), None
    for _ in range(repeats):
        t0, c0 = time.perf_counter(), time.process_time()
        out = fn()
        best = min(best, time.perf_counter() - t0)
        best_cpu = min(best_cpu, time.process_time() - c0)
    return out, best, best_cpu


def evaluate(d):
    meta = dict(l.split(None, 1) for l in open(d + "/eca_meta.txt") if l.strip())
    N, L = int(meta["sequences"]), int(meta["sites"])
    X = np.fromfile(d + "/eca_states.u8", dtype=np.uint8).reshape(N, L).astype(np.intp)
    w = np.fromfile(d + "/eca_weights.f64")
    n = Q * L + Q * Q * L * (L - 1) // 2
    x = start_point(n)
    (v, g), sec, cpu = timed(lambda: objective(x, X, w), 3)
    (vb, gb), sec_b, cpu_b = timed(lambda: objective(x, X, w, blas=True), 1)
    g.tofile(d + "/eca_np_grad.f64")
    print("BENCH numpy_s %.4f" % sec)
    print("BENCH numpy_cpu_s %.4f" % cpu)
    print("BENCH numpy_onehot_matmul_s %.4f" % sec_b)
    print("BENCH numpy_value %.12g" % v)
    print("BENCH numpy variants: max |g_gather - g_matmul| / max|g| %.2e"
          % (np.abs(g - gb).max() / np.abs(g).max()))
    gt = np.fromfile(d + "/eca_grad.f64")
    vt = float(meta["value"])
    if gt.size != n:
        print("BENCH tevo gradient has %d entries, expected %d" % (gt.size, n))
        return 1
    denom = np.maximum(np.maximum(np.abs(g), np.abs(gt)), 1e-300)
    print("BENCH value rel diff tevo vs numpy %.2e" % (abs(v - vt) / abs(v)))
    print("BENCH gradient max rel diff tevo vs numpy %.2e (elementwise), %.2e (max abs diff / max|g|)"
          % ((np.abs(g - gt) / denom).max(), np.abs(g - gt).max() / np.abs(g).max()))
    return 0


def planted(csv, pairs_file):
    rows = [l.rstrip("\n").split(",") for l in open(csv) if l.strip() and not l.startswith("#")]
    S = np.array([[float(v) for v in r[1:] if v != ""] for r in rows[1:]])  # first line: index
    pairs = {tuple(int(t) - 1 for t in l.split()[:2]) for l in open(pairs_file) if not l.startswith("#")}
    i, j = np.triu_indices(S.shape[0], 1)
    top = np.argsort(-S[i, j], kind="stable")[:len(pairs)]
    hits = sum((int(i[k]), int(j[k])) in pairs for k in top)
    print("BENCH planted pairs among the top %d pair scores: %d" % (len(pairs), hits))
    return 0


if __name__ == "__main__":
    if len(sys.argv) == 4 and sys.argv[1] == "planted":
        sys.exit(planted(sys.argv[2], sys.argv[3]))
    if len(sys.argv) == 2 and sys.argv[1] == "--selftest":
        sys.exit(selftest())
    if len(sys.argv) == 3 and sys.argv[1] == "eval":
        sys.exit(evaluate(sys.argv[2]))
    print(__doc__)
    sys.exit(2)
