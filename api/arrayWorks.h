// Dense arrays: the N-dimensional store that holds every pixel plane, and the
// owning wrappers of raw work buffers.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>
#include <vector>

#include "api/errors.h"
#include "api/object.h"

namespace zel {

// Pixel type of a vector plane.
template <int N, class T>
struct idx;

template <class T>
struct idx<2, T> {
  T x = 0;
  T y = 0;
  friend bool operator==(const idx&, const idx&) = default;
};

// A dense N-dimensional array, row after row with x fastest: element (x, y)
// is data[strides[1] * y + x]. Element access does not check bounds.
template <class T, int N>
class arrayStore : public ObjectId {
  static_assert(N == 1 || N == 2, "stores are one- or two-dimensional");
  static_assert(std::is_trivially_copyable_v<T>, "elements are copied as one block");

 public:
  T* data = nullptr;
  bool owns = false;
  int dims[N] = {};
  int origin[N] = {};  // reserved
  int strides[N] = {};
  std::vector<int> shape = std::vector<int>(N, 0);  // a second copy of dims
  std::uint64_t count = 0;

  arrayStore() = default;

  // A store of the given extent. With a block, the store uses it and frees it
  // only if `own`; without one it allocates an uninitialised block.
  explicit arrayStore(const int (&extent)[N], T* block = nullptr, bool own = false) {
    build(extent, block, own);
  }
  // The bodies of the 2-D members test N again: clang instantiates them in
  // the explicit instantiations of 1-D stores too.
  arrayStore(int width, int height, T* block = nullptr, bool own = false) requires(N == 2) {
    if constexpr (N == 2) build({width, height}, block, own);
  }
  explicit arrayStore(int length, T* block = nullptr, bool own = false) requires(N == 1) {
    build({length}, block, own);
  }

  // A copy is deep and owns its block.
  arrayStore(const arrayStore& other) : ObjectId(other.name) { *this = other; }
  arrayStore(arrayStore&& other) noexcept : ObjectId(std::move(other.name)) { take(other); }
  ~arrayStore() override { reset(); }

  // Resizes to the source's extent only when it differs, then copies the
  // elements and the name. An empty source leaves the name alone.
  arrayStore& operator=(const arrayStore& other) {
    if (this == &other) return *this;
    if (!sameExtent(other)) {
      reset();
      build(other.dims, nullptr, false);
    }
    if (!other.data) return *this;
    std::memcpy(static_cast<void*>(data), other.data, count * sizeof(T));
    name = other.name;
    return *this;
  }
  arrayStore& operator=(arrayStore&& other) noexcept {
    if (this == &other) return *this;
    reset();
    name = std::move(other.name);
    take(other);
    return *this;
  }

  // Frees an owned block and returns to the default state.
  void reset() {
    if (owns) delete[] data;
    data = nullptr;
    owns = false;
    std::fill(std::begin(dims), std::end(dims), 0);
    std::fill(std::begin(strides), std::end(strides), 0);
    shape.assign(N, 0);
    count = 0;
  }

  std::size_t size() const override { return name.size() + count * sizeof(T); }

  int width() const { return dims[0]; }
  int height() const requires(N == 2) {
    if constexpr (N == 2) return dims[1];
    return 0;
  }
  bool empty() const { return count == 0; }

  template <class U>
  bool sameExtent(const arrayStore<U, N>& other) const {
    return std::equal(std::begin(dims), std::end(dims), std::begin(other.dims));
  }

  T& operator[](std::size_t i) { return data[i]; }
  const T& operator[](std::size_t i) const { return data[i]; }
  T& operator()(int x, int y) requires(N == 2) {
    return data[static_cast<std::size_t>(strides[1]) * y + x];
  }
  const T& operator()(int x, int y) const requires(N == 2) {
    return data[static_cast<std::size_t>(strides[1]) * y + x];
  }
  T* row(int y) requires(N == 2) { return data + static_cast<std::size_t>(strides[1]) * y; }
  const T* row(int y) const requires(N == 2) {
    return data + static_cast<std::size_t>(strides[1]) * y;
  }

  void fill(const T& value) { std::fill(data, data + count, value); }

 private:
  void build(const int (&extent)[N], T* block, bool own) {
    std::uint64_t total = 1;
    bool fits = true;
    for (int i = 0; i < N; ++i) {
      if (extent[i] < 0)
        fits = false;
      else if (extent[i] != 0 && total > maxElements() / static_cast<std::uint64_t>(extent[i]))
        fits = false;
      else
        total *= static_cast<std::uint64_t>(extent[i]);
    }
    if (!fits) {
      reset();
      raise<IndexError>();
    }
    std::copy(std::begin(extent), std::end(extent), std::begin(dims));
    strides[0] = 1;
    if constexpr (N == 2) strides[1] = dims[0];
    shape.assign(std::begin(dims), std::end(dims));
    count = total;
    if (block) {
      data = block;
      owns = own;
    } else if (count != 0) {
      data = new T[count];
      owns = true;
    } else {
      data = nullptr;
      owns = false;
    }
  }

  void take(arrayStore& other) noexcept {
    data = other.data;
    owns = other.owns;
    std::copy(std::begin(other.dims), std::end(other.dims), std::begin(dims));
    std::copy(std::begin(other.strides), std::end(other.strides), std::begin(strides));
    shape = other.shape;
    count = other.count;
    other.data = nullptr;
    other.owns = false;
    other.reset();
  }

  static constexpr std::uint64_t maxElements() {
    return static_cast<std::uint64_t>(std::numeric_limits<std::ptrdiff_t>::max()) / sizeof(T);
  }
};

extern template class arrayStore<float, 2>;
extern template class arrayStore<bool, 2>;
extern template class arrayStore<int, 2>;
extern template class arrayStore<double, 2>;
extern template class arrayStore<idx<2, float>, 2>;
extern template class arrayStore<float, 1>;
extern template class arrayStore<bool, 1>;
extern template class arrayStore<int, 1>;
extern template class arrayStore<double, 1>;

// Owns a block from an array new, so that a work buffer is freed when an
// exception passes. No bounds, no size, no copying.
template <class T>
class Array {
 public:
  T* p = nullptr;

  Array() = default;
  explicit Array(std::size_t n) : p(new T[n]) {}
  explicit Array(T* block) : p(block) {}
  Array(const Array&) = delete;
  Array& operator=(const Array&) = delete;
  virtual ~Array() { delete[] p; }

  T& operator[](std::size_t i) { return p[i]; }
  const T& operator[](std::size_t i) const { return p[i]; }
};

}  // namespace zel

using double_array = zel::Array<double>;
