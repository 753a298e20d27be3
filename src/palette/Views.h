#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "values/Colour.h"
#include "values/Geometry.h"

namespace velmora {

// The small view and layer model that the theme styles. It keeps what a
// styled screen shows: the colours, the layers stacked behind a view's
// content, and the tints of the two controls the theme touches.

// One layer of a view's layer tree. A gradient layer carries its colours
// from top to bottom, spread evenly over its frame; a plain layer has none.
struct Layer {
  std::string name;
  Rect frame;
  std::vector<Colour> colours;
  std::vector<Layer> sublayers;

  // `insertSublayer:atIndex:` (an index past the end appends).
  void insertSublayer(Layer layer, std::size_t index);
  // `replaceSublayer:with:`: the layer at `index` and its whole subtree give way to `with`.
  void replaceSublayer(std::size_t index, Layer with);
  const Layer* firstSublayer() const { return sublayers.empty() ? nullptr : &sublayers.front(); }

  friend bool operator==(const Layer&, const Layer&) = default;
};

struct View {
  Rect bounds;
  std::optional<Colour> backgroundColour;  // empty: transparent
  std::optional<Colour> tintColour;        // empty: inherited from the superview
  Layer layer;                             // the view's own layer; backgrounds go among its sublayers

  friend bool operator==(const View&, const View&) = default;
};

// A segmented control: its title colour in the normal and the selected state
// (the only title attribute the theme sets) and the fill of the selected segment.
struct SegmentedControl : View {
  std::optional<Colour> normalTitleColour;
  std::optional<Colour> selectedTitleColour;
  std::optional<Colour> selectedSegmentTintColour;

  friend bool operator==(const SegmentedControl&, const SegmentedControl&) = default;
};

// A stepper draws its minus and plus glyphs in its tint colour.
struct Stepper : View {
  friend bool operator==(const Stepper&, const Stepper&) = default;
};

}  // namespace velmora
