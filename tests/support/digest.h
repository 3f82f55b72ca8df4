#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zolt::test {

/// FNV-1a over single bytes: the same on every processor, and one changed byte always changes it.
inline uint64_t Digest(const uint8_t* bytes, size_t count) {
  uint64_t digest = 0xCBF29CE484222325;
  for (size_t i = 0; i < count; ++i) digest = (digest ^ bytes[i]) * 0x100000001B3;
  return digest;
}

inline uint64_t Digest(const std::vector<uint8_t>& bytes) {
  return Digest(bytes.data(), bytes.size());
}

/// Of numbers, or records of them without gaps, as they lie in memory: the project's processors agree on
/// that.
template <typename T>
uint64_t Digest(const std::vector<T>& values) {
  return Digest(reinterpret_cast<const uint8_t*>(values.data()), values.size() * sizeof(T));
}

}  // namespace zolt::test
