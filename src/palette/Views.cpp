#include "palette/Views.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace velmora {

void Layer::insertSublayer(Layer layer, std::size_t index) {
  const auto at = std::next(sublayers.begin(), static_cast<std::ptrdiff_t>(std::min(index, sublayers.size())));
  sublayers.insert(at, std::move(layer));
}

void Layer::replaceSublayer(std::size_t index, Layer with) {
  if (index < sublayers.size()) sublayers[index] = std::move(with);
}

}  // namespace velmora
