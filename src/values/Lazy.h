#pragma once

#include <memory>
#include <utility>

namespace velmora {

// An object made the first time it is asked for and kept for its owner's
// life. The metric objects make their collaborators this way (the formatting
// tools, the palette, the record maker): nothing exists until a request
// needs it, and what a request made, the next one finds as it was left.
//
// `T` may be incomplete where a `Lazy<T>` is declared; it must be complete
// where the owner's destructor and `get` are defined.
template <class T>
class Lazy {
 public:
  // The object, made from `args` on the first call; later calls return that
  // same object and leave their arguments unused.
  template <class... Args>
  T& get(Args&&... args) {
    if (!object_) object_ = std::make_unique<T>(std::forward<Args>(args)...);
    return *object_;
  }
  // The object once made, else null: for the lookups that must not make it.
  T* ifMade() const { return object_.get(); }

 private:
  std::unique_ptr<T> object_;
};

}  // namespace velmora
