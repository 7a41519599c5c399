// Reproducible aligned FASTA drawn from a 21-state Potts model by Gibbs
// sampling: weak random fields, a modest gap field, and a few strongly coupled
// site pairs (each favours one random pairing of the 20 residues).
//
// Usage: potts_alignment <out.fasta> <sequences> <sites> <seed> [near copies]
// Writes <out.fasta> and <out.fasta>.pairs (the planted pairs, 1-based).
// With a fraction f of near copies, each sequence after the first is, with
// probability f, the previous one with 5% of its sites redrawn: clusters of
// close relatives, so that reweighting gives weights below 1.
// States: 0 is '-', 1..20 the letters "ARNDCQEGHILKMFPSTWYV" in this order.
// The first sequence has no gap, so every site survives the projection on it.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr int kStates = 21;
const char kLetters[] = "-ARNDCQEGHILKMFPSTWYV";

constexpr int kBurnIn = 200;       // sweeps before the first sample
constexpr int kThin = 10;          // sweeps between two samples
constexpr double kFieldSd = 0.5;   // spread of the residue fields
constexpr double kGapField = -0.5; // about 2.5% gaps at an unpaired site
constexpr double kStrength = 2.0;  // planted coupling of a favoured residue pair
constexpr double kRedrawn = 0.05;  // sites redrawn in a near copy

struct Rng {
  std::mt19937_64 mt;
  explicit Rng(uint64_t seed) : mt(seed) {}
  double uniform() { return (mt() >> 11) * 0x1.0p-53; }  // [0, 1)
  double normal() {
    const double u = 1.0 - uniform(), v = uniform();
    return std::sqrt(-2.0 * std::log(u)) * std::cos(6.283185307179586 * v);
  }
  int below(int n) { return static_cast<int>(uniform() * n); }
};

struct Model {
  int sites = 0;
  std::vector<double> field;   // [sites][21]
  std::vector<int> partner;    // coupled site or -1
  std::vector<int> favoured;   // [sites][21]: state at the partner that gains kStrength

  // Conditional logits of site i given the rest of x.
  void logits(const std::vector<int>& x, int i, double* out) const {
    for (int a = 0; a < kStates; ++a) out[a] = field[i * kStates + a];
    const int j = partner[i];
    if (j < 0) return;
    for (int a = 1; a < kStates; ++a)
      if (favoured[i * kStates + a] == x[j]) out[a] += kStrength;
  }
};

int draw(Rng& rng, const double* logit, int first) {
  double p[kStates], sum = 0.0;
  for (int a = first; a < kStates; ++a) sum += p[a] = std::exp(logit[a]);
  double u = rng.uniform() * sum;
  for (int a = first; a < kStates - 1; ++a) {
    if (u < p[a]) return a;
    u -= p[a];
  }
  return kStates - 1;
}

void sweep(const Model& m, Rng& rng, std::vector<int>& x) {
  double logit[kStates];
  for (int i = 0; i < m.sites; ++i) {
    m.logits(x, i, logit);
    x[i] = draw(rng, logit, 0);
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5 && argc != 6) {
    std::fprintf(stderr, "usage: %s <out.fasta> <sequences> <sites> <seed> [near copies]\n", argv[0]);
    return 2;
  }
  const std::string path = argv[1];
  const int n = std::atoi(argv[2]), sites = std::atoi(argv[3]);
  const uint64_t seed = std::strtoull(argv[4], nullptr, 10);
  const double near = argc == 6 ? std::atof(argv[5]) : 0.0;
  if (n < 1 || sites < 2) {
    std::fprintf(stderr, "need at least 1 sequence and 2 sites\n");
    return 2;
  }
  Rng rng(seed);

  Model m;
  m.sites = sites;
  m.field.assign(static_cast<size_t>(sites) * kStates, 0.0);
  m.partner.assign(sites, -1);
  m.favoured.assign(static_cast<size_t>(sites) * kStates, -1);
  for (int i = 0; i < sites; ++i) {
    m.field[i * kStates] = kGapField;
    for (int a = 1; a < kStates; ++a) m.field[i * kStates + a] = kFieldSd * rng.normal();
  }

  // Disjoint random pairs: the first 2 * pairs sites of a random order.
  const int pairs = std::min(sites / 2, std::max(3, sites / 10));
  std::vector<int> order(sites);
  for (int i = 0; i < sites; ++i) order[i] = i;
  for (int i = sites - 1; i > 0; --i) std::swap(order[i], order[rng.below(i + 1)]);
  FILE* side = std::fopen((path + ".pairs").c_str(), "w");
  if (side == nullptr) {
    std::fprintf(stderr, "cannot write %s.pairs\n", path.c_str());
    return 1;
  }
  std::fprintf(side, "# planted pairs: site site (1-based) strength; residue a at the first favours perm(a) at the second\n");
  for (int k = 0; k < pairs; ++k) {
    int i = order[2 * k], j = order[2 * k + 1];
    if (i > j) std::swap(i, j);
    int perm[kStates];
    for (int a = 0; a < kStates; ++a) perm[a] = a;
    for (int a = kStates - 1; a > 1; --a) std::swap(perm[a], perm[1 + rng.below(a)]);
    m.partner[i] = j;
    m.partner[j] = i;
    for (int a = 1; a < kStates; ++a) {
      m.favoured[i * kStates + a] = perm[a];
      m.favoured[j * kStates + perm[a]] = a;
    }
    std::fprintf(side, "%d %d %.2f\n", i + 1, j + 1, kStrength);
  }
  std::fclose(side);

  FILE* out = std::fopen(path.c_str(), "w");
  if (out == nullptr) {
    std::fprintf(stderr, "cannot write %s\n", path.c_str());
    return 1;
  }
  std::vector<int> x(sites);
  for (int i = 0; i < sites; ++i) x[i] = rng.below(kStates);
  for (int t = 0; t < kBurnIn; ++t) sweep(m, rng, x);
  std::string line(sites, '-');
  double logit[kStates];
  std::vector<int> y;
  for (int s = 0; s < n; ++s) {
    if (s > 0)
      for (int t = 0; t < kThin; ++t) sweep(m, rng, x);
    if (s > 0 && near > 0 && rng.uniform() < near) {
      for (int i = 0; i < sites; ++i)
        if (rng.uniform() < kRedrawn) {
          m.logits(y, i, logit);
          y[i] = draw(rng, logit, 0);
        }
    } else {
      y = x;
    }
    if (s == 0)  // the reference: redraw its gaps from the residues only
      for (int i = 0; i < sites; ++i)
        if (y[i] == 0) {
          m.logits(y, i, logit);
          y[i] = draw(rng, logit, 1);
        }
    for (int i = 0; i < sites; ++i) line[i] = kLetters[y[i]];
    std::fprintf(out, ">s%d\n%s\n", s, line.c_str());
  }
  if (std::fclose(out) != 0) {
    std::fprintf(stderr, "write failed: %s\n", path.c_str());
    return 1;
  }
  return 0;
}
