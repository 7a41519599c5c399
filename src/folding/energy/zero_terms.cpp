// The opening words of the radial term.
#include "folding/energy/zero_terms.h"

#include "util/console.h"

namespace tevo {

template <typename T>
void Radial<T>::init(const std::string& file) {
  if (!this->quiet_) print_info("Initializing the radial energy module ...", 32);
  this->file_ = file;
}

template class Radial<float>;
template class Radial<double>;

}  // namespace tevo
