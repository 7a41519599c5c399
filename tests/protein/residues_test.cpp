// Residue alphabets, the three numberings, atom codes and the value classes.
#include <gtest/gtest.h>

#include <cstring>

#include "protein/aminoacid.h"
#include "protein/residues.h"

using namespace tevo;

TEST(Residues, ThreeNumberingsAndTheGlutamateSwap) {
  EXPECT_EQ(aa12idx('-'), 0);
  EXPECT_EQ(aa12idx('a'), 1);
  EXPECT_EQ(aa12idx('V'), 20);
  for (char c : {'X', 'B', 'J', 'O', 'U', 'Z', '*', '\0'}) EXPECT_EQ(aa12idx(c), -1) << c;
  int code = 0;
  aa32idx(&code, "gly");
  EXPECT_EQ(code, -1);  // upper case only
  unsigned char letter = '?';
  idx2aa(&letter, 21);
  EXPECT_EQ(letter, '?');
  // Every residue goes round letter -> code -> name -> code, GLU/GLN swapped.
  for (int k = 1; k <= 20; ++k) {
    unsigned char aa = 0;
    idx2aa(&aa, k);
    EXPECT_EQ(aa12idx(static_cast<char>(aa)), k);
    aa32idx(&code, aa123(aa));
    EXPECT_EQ(code, k == 6 ? 7 : k == 7 ? 6 : k) << aa;
    EXPECT_EQ(AA2INT.at(aa123(aa)), k - 1);
  }
}

TEST(Residues, NameConversionsAndBlosum) {
  EXPECT_EQ(aa321("ala"), "A");
  EXPECT_EQ(aa321("UNK"), "X");
  EXPECT_EQ(aa321("HOH"), "");
  EXPECT_EQ(aa123('w'), "TRP");
  EXPECT_EQ(aa123('B'), "");
  EXPECT_EQ(idx2sec(7), "S");
  EXPECT_EQ(idx2sec(8), "-");
  EXPECT_EQ(idx2sec(-1), "-");
  unsigned base = 9;
  dna2idx(&base, 'u');
  EXPECT_EQ(base, 1u);
  dna2idx(&base, 'N');
  EXPECT_EQ(base, 4u);
  // BLOSUM50 is symmetric with the published diagonal.
  const int diag[20] = {5, 7, 7, 8, 13, 7, 6, 8, 10, 5, 5, 6, 7, 8, 10, 5, 5, 15, 8, 5};
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(BLOSUM50[i][i], diag[i]) << i;
    for (int j = 0; j < 20; ++j) EXPECT_EQ(BLOSUM50[i][j], BLOSUM50[j][i]) << i << "," << j;
  }
  EXPECT_EQ(BLOSUM50[AA_STR.find('W')][AA_STR.find('C')], -5);
}

TEST(Residues, AtomCodesIndicesAndPairs) {
  char buf[8] = "keep";
  get_atom_name(0, buf);
  get_atom_name(47, buf);
  EXPECT_STREQ(buf, "keep");  // out of range leaves the buffer
  get_atom_name(46, buf);
  EXPECT_STREQ(buf, "X");
  get_aminoacid_name(20, buf);
  get_aminoacid_name(21, buf);
  EXPECT_STREQ(buf, "VAL");
  // Slot tables: glycine has no CB, proline no HN, unknown names land on 0.
  EXPECT_EQ(atom2idx("H", "GLY", 0, false), 4);
  EXPECT_EQ(atom2idx("H", "PRO", 1, false), 0);
  EXPECT_EQ(atom2idx("HN", "SER", 2, false), 5);
  EXPECT_EQ(atom2idx("CB", "GLY", 1, false), 0);
  EXPECT_EQ(atom2idx("CB", "PRO", 1, false), 4);
  EXPECT_EQ(atom2idx("CA", "LYS", 0, true), -1);
  int storage[6][2];
  int* rows[6];
  for (int k = 0; k < 6; ++k) rows[k] = storage[k];
  pair_index(rows, 3, 4);
  const int want[6][2] = {{0, 1}, {0, 2}, {0, 3}, {1, 2}, {1, 3}, {2, 3}};
  for (int k = 0; k < 6; ++k) EXPECT_TRUE(rows[k][0] == want[k][0] && rows[k][1] == want[k][1]) << k;
}

TEST(Residues, AtomAndResidueCopies) {
  Atom<double> a("CA", 1, 2, 3, 0.5, 0.25, 0.125, "core", "note");
  a.set_name("  CB \t");
  EXPECT_EQ(a.get_atom_name(), "CB");
  AminoAcid<float> res("LYS");
  Atom<float> n, ca;
  n.set_name("N");
  ca.set_name("CA");
  ca.set_coord(1, 2, 3);
  res.add_atom(n);
  res.add_atom(ca);
  res.create_bonds(7);
  res.bonds[3].target = 60;
  AminoAcid<float> copy(res);
  copy.bonds[4].angle = -45;
  EXPECT_EQ(res.bonds[4].angle, -45);  // bonds are shared
  copy.atoms[1].coord[0] = 9;
  EXPECT_EQ(res.atoms[1].coord[0], 1);  // atoms are deep
  EXPECT_EQ(res.get_atom_index("CZ"), -1);
  EXPECT_EQ(res.get_atom_coord("CA", 2), 3);
  { AminoAcid<float> shortlived(copy); }
  EXPECT_EQ(copy.bonds[3].target, 60);  // still alive after a copy went away

  AtomStrut<double> s;
  s.set_atom("CA");
  s.coord.reset(new double[3]{1, 2, 3});
  AtomStrut<double> t(s);
  ASSERT_TRUE(t.atom && t.coord);
  EXPECT_NE(t.atom.get(), s.atom.get());
  EXPECT_EQ(t.coord[2], 3);
  EXPECT_FALSE(t.resseq);
  t.set_atom("N");
  EXPECT_EQ(*s.atom, "CA");
}
