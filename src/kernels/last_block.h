#pragma once

#include <cassert>

namespace zolt {

/// The columns of a row as kernels with blocks of `Block` columns visit them: body(first, count) over all
/// whole blocks at once, and when columns remain, once more over the last `Block` columns. A kernel that
/// works in place so applies twice on the overlap, which is part of its result. n >= Block.
template <int Block, typename Body>
inline void ForBlocks(int n, Body&& body) {
  assert(n >= Block);
  body(0, n - n % Block);
  if (n % Block != 0) body(n - Block, Block);
}

}  // namespace zolt
