// An atom of a structure as read from a PDB line, and the nullable record of
// the second PDB loader.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace tevo {

template <typename T>
class Atom {
 public:
  Atom() = default;
  // Name, three integers, three reals and two strings; the numbers are kept
  // as plain fields.
  Atom(const std::string& name, int i1, int i2, int i3, T r1, T r2, T r3, const std::string& iscore,
       const std::string& note);
  Atom(const Atom&) = default;
  Atom& operator=(const Atom&) = default;
  Atom(Atom&&) noexcept = default;
  Atom& operator=(Atom&&) noexcept = default;
  virtual ~Atom() = default;

  void set_index(int index) { this->index = index; }
  int get_indx() const { return index; }
  void set_name(const std::string& text);  // stored trimmed
  const std::string& get_atom_name() const { return name; }
  void set_iscore(const std::string& text) { iscore = text; }
  void set_coord(T x, T y, T z) {
    coord[0] = x;
    coord[1] = y;
    coord[2] = z;
  }
  const T* get_coord() const { return coord; }
  T get_coord(int axis) const { return coord[axis]; }
  void set_isomer(const std::string& text) { isomer = text; }
  void set_amino_acid_name(const std::string& text) { amino_acid_name = text; }
  const std::string& get_amino_acid_name() const { return amino_acid_name; }
  void set_chain_name(const std::string& text) { chain_name = text; }
  const std::string& get_chain_name() const { return chain_name; }
  void set_amino_acid_idx(int idx) { amino_acid_idx = idx; }
  int get_amino_acid_idx() const { return amino_acid_idx; }
  void set_occupancy(T value) { occupancy = value; }
  T get_occupancy() const { return occupancy; }
  void set_tfactor(T value) { tfactor = value; }
  T get_tfactor() const { return tfactor; }
  void set_symbol(const std::string& text) { symbol = text; }
  const std::string& get_symbol() const { return symbol; }
  void set_extra(const std::string& text) { extra = text; }

  uint8_t flag = 0;
  int index = 0;
  std::string name;
  int ivalue[3] = {0, 0, 0};
  T rvalue[3] = {0, 0, 0};
  std::string iscore;
  std::string note;
  T coord[3] = {0, 0, 0};  // x, y, z in angstrom
  std::string isomer;
  std::string amino_acid_name;
  std::string chain_name;
  int amino_acid_idx = 0;
  T occupancy = 0;
  T tfactor = 0;
  std::string symbol;
  std::string extra;
  bool marked = false;
};

// One atom of ProteinData: every field is null when the value is absent.
template <typename T>
class AtomStrut {
 public:
  AtomStrut() = default;
  AtomStrut(const AtomStrut& other);
  AtomStrut& operator=(const AtomStrut& other);
  AtomStrut(AtomStrut&&) noexcept = default;
  AtomStrut& operator=(AtomStrut&&) noexcept = default;
  ~AtomStrut() = default;

  void set_altloc(const std::string& text);
  void set_atom(const std::string& text);

  std::unique_ptr<std::string> res;
  std::unique_ptr<int> resseq;
  std::unique_ptr<std::string> atom;
  std::unique_ptr<std::string> altloc;
  std::unique_ptr<int> realss;
  std::unique_ptr<int> predss;
  std::unique_ptr<T> predprobss_c;
  std::unique_ptr<T> predprobss_h;
  std::unique_ptr<T> predprobss_e;
  std::unique_ptr<T[]> coord;  // three values when present
};

extern template class Atom<float>;
extern template class Atom<double>;
extern template class AtomStrut<float>;
extern template class AtomStrut<double>;

}  // namespace tevo
