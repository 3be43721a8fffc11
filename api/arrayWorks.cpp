#include "api/arrayWorks.h"

namespace zel {

template class arrayStore<float, 2>;
template class arrayStore<bool, 2>;
template class arrayStore<int, 2>;
template class arrayStore<double, 2>;
template class arrayStore<idx<2, float>, 2>;
template class arrayStore<float, 1>;
template class arrayStore<bool, 1>;
template class arrayStore<int, 1>;
template class arrayStore<double, 1>;

}  // namespace zel
