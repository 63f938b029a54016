// Owners for what the system's libraries hand out.
#pragma once

#include <memory>

namespace quorvel {

template <auto release>
struct Releaser {
  void operator()(auto* object) const { release(object); }  // NOLINT(*-no-malloc)
};

/// Owns an object that ends by a call of `release`.
template <typename Object, auto release>
using Owned = std::unique_ptr<Object, Releaser<release>>;

}  // namespace quorvel
