// The seven term objects and the dispatch by term number (the row of
// Module<T>::energy_modules_). The terms share no base class: each call
// goes through an if-chain to a statically typed member.
#pragma once

#include <string>

#include "folding/energy/burial.h"
#include "folding/energy/cnce.h"
#include "folding/energy/dope_pw.h"
#include "folding/energy/hnce.h"
#include "folding/energy/zero_terms.h"

namespace tevo {

template <typename T>
struct EnergyTerms {
  enum Number { kDopeCB = 0, kDopePW = 1, kBurial = 2, kHNCE = 3, kCNCE = 4, kTSP = 5, kRadial = 6 };

  DOPE_CB<T> dope_cb;
  DOPE_PW<T> dope_pw;
  BurialE<T> burial;
  HNCE<T> hnce;
  CNCE<T> cnce;
  Radial<T> radial;
  TSP<T> tsp;

  // Runs `call` on the term object of `number`; numbers outside the table do nothing.
  template <typename F>
  void dispatch(int number, F&& call) {
    if (number == kDopeCB)
      call(dope_cb);
    else if (number == kDopePW)
      call(dope_pw);
    else if (number == kBurial)
      call(burial);
    else if (number == kHNCE)
      call(hnce);
    else if (number == kCNCE)
      call(cnce);
    else if (number == kRadial)
      call(radial);
    else if (number == kTSP)
      call(tsp);
  }

  void set_quiet(int number, bool quiet) {
    dispatch(number, [&](auto& term) { term.set_quiet(quiet); });
  }
  void set_system(int number, Chain<T>* chain) {
    dispatch(number, [&](auto& term) { term.set_system(chain); });
  }
  void init(int number, const std::string& file) {
    dispatch(number, [&](auto& term) { term.init(file); });
  }
  void prev(int number, Chain<T>* chain) {
    dispatch(number, [&](auto& term) { term.prev_calc_energy(chain); });
  }
  void calc(int number, T* out) {
    *out = 0;
    dispatch(number, [&](auto& term) { term.calc_energy(out); });
  }
  void post(int number) {
    dispatch(number, [&](auto& term) { term.post_calc_energy(); });
  }
  void finish(int number) {
    dispatch(number, [&](auto& term) { term.finish(); });
  }
};

}  // namespace tevo
