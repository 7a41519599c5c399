// Atom records.
#include "protein/atom.h"

#include "util/strings.h"  // trim_all

namespace tevo {

template <typename T>
Atom<T>::Atom(const std::string& name, int i1, int i2, int i3, T r1, T r2, T r3,
              const std::string& iscore, const std::string& note)
    : name(name), ivalue{i1, i2, i3}, rvalue{r1, r2, r3}, iscore(iscore), note(note) {}

template <typename T>
void Atom<T>::set_name(const std::string& text) {
  name = text;
  trim_all(name);
}

namespace {

template <typename V>
std::unique_ptr<V> clone(const std::unique_ptr<V>& p) {
  return p ? std::make_unique<V>(*p) : nullptr;
}

}  // namespace

template <typename T>
AtomStrut<T>::AtomStrut(const AtomStrut& o)
    : res(clone(o.res)),
      resseq(clone(o.resseq)),
      atom(clone(o.atom)),
      altloc(clone(o.altloc)),
      realss(clone(o.realss)),
      predss(clone(o.predss)),
      predprobss_c(clone(o.predprobss_c)),
      predprobss_h(clone(o.predprobss_h)),
      predprobss_e(clone(o.predprobss_e)) {
  if (o.coord) {
    coord.reset(new T[3]);
    for (int k = 0; k < 3; ++k) coord[k] = o.coord[k];
  }
}

template <typename T>
AtomStrut<T>& AtomStrut<T>::operator=(const AtomStrut& o) {
  if (this != &o) *this = AtomStrut(o);
  return *this;
}

template <typename T>
void AtomStrut<T>::set_altloc(const std::string& text) {
  if (altloc)
    *altloc = text;
  else
    altloc = std::make_unique<std::string>(text);
}

template <typename T>
void AtomStrut<T>::set_atom(const std::string& text) {
  if (atom)
    *atom = text;
  else
    atom = std::make_unique<std::string>(text);
}

template class Atom<float>;
template class Atom<double>;
template class AtomStrut<float>;
template class AtomStrut<double>;

}  // namespace tevo
