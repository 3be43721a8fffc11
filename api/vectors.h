// Small geometric value types: points in the plane and in space, edges and
// polygons. Marker coordinates and fits are in doubles.
#pragma once

#include <algorithm>
#include <utility>

template <class T>
struct xyVec {
  T x = 0;
  T y = 0;

  xyVec() = default;
  xyVec(T x_, T y_) : x(x_), y(y_) {}
  xyVec(const xyVec&) = default;
  xyVec& operator=(const xyVec&) = default;
  virtual ~xyVec() = default;

  bool operator==(const xyVec& o) const { return x == o.x && y == o.y; }
};

namespace zel {

template <class T>
struct xyzVec {
  T x = 0;
  T y = 0;
  T z = 0;

  xyzVec() = default;
  xyzVec(T x_, T y_, T z_) : x(x_), y(y_), z(z_) {}
  xyzVec(const xyzVec&) = default;
  xyzVec& operator=(const xyzVec&) = default;
  virtual ~xyzVec() = default;

  bool operator==(const xyzVec& o) const { return x == o.x && y == o.y && z == o.z; }
};

}  // namespace zel

template <class T>
struct xyEdge {
  xyVec<T> a;
  xyVec<T> b;

  xyEdge() = default;
  xyEdge(const xyVec<T>& a_, const xyVec<T>& b_) : a(a_), b(b_) {}
  xyEdge(const xyEdge&) = default;
  xyEdge& operator=(const xyEdge&) = default;
  virtual ~xyEdge() = default;
};

// Owns its vertices; a copy is deep.
template <class T>
struct xyPolygon {
  int count = 0;
  int capacity = 0;
  xyVec<T>* vertices = nullptr;

  xyPolygon() = default;
  xyPolygon(const xyVec<T>* block, int n) { copyIn(block, n); }
  xyPolygon(const xyPolygon& o) { copyIn(o.vertices, o.count); }
  xyPolygon& operator=(const xyPolygon& o) {
    if (this != &o) {
      xyPolygon copy(o);
      std::swap(count, copy.count);
      std::swap(capacity, copy.capacity);
      std::swap(vertices, copy.vertices);
    }
    return *this;
  }
  virtual ~xyPolygon() { delete[] vertices; }

 private:
  void copyIn(const xyVec<T>* block, int n) {
    if (n <= 0 || !block) return;
    vertices = new xyVec<T>[n];
    std::copy(block, block + n, vertices);
    count = capacity = n;
  }
};
