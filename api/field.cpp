#include "api/field.h"

#include <algorithm>
#include <cmath>

#include "api/errors.h"

namespace zel {
namespace {

using point = xyzVec<double>;

point minus(const point& a, const point& b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }

point cross(const point& a, const point& b) {
  return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

// The central difference along one index; one-sided at the ends.
point difference(const point* p, int index, int count, std::size_t stride) {
  const int lo = std::max(0, index - 1), hi = std::min(count - 1, index + 1);
  return minus(p[static_cast<std::size_t>(hi) * stride], p[static_cast<std::size_t>(lo) * stride]);
}

}  // namespace

std::vector<point> surfaceNormals(const point* points, int ni, int nj) {
  std::vector<point> normals(static_cast<std::size_t>(ni) * static_cast<std::size_t>(nj));
  if (ni < 2 || nj < 2) return normals;  // a line has no normal
  const std::size_t row = static_cast<std::size_t>(ni);
  for (int j = 0; j < nj; ++j)
    for (int i = 0; i < ni; ++i) {
      const std::size_t at = static_cast<std::size_t>(j) * row + static_cast<std::size_t>(i);
      const point di = difference(points + static_cast<std::size_t>(j) * row, i, ni, 1);
      const point dj = difference(points + i, j, nj, row);
      const point n = cross(di, dj);
      const double length = std::sqrt(n.x * n.x + n.y * n.y + n.z * n.z);
      if (length > 0.0 && std::isfinite(length)) normals[at] = {n.x / length, n.y / length, n.z / length};
    }
  return normals;
}

// ---- FieldBase ----------------------------------------------------------

template <class V>
void FieldBase<V>::checkRow(int row) const {
  if (row < 0 || row >= rows()) raise<IndexError>();
}

template <class V>
int FieldBase<V>::rowSize(int row) const {
  checkRow(row);
  return rowSizes[static_cast<std::size_t>(row)];
}

template <class V>
const rowShape& FieldBase<V>::shape(int row) const {
  checkRow(row);
  return shapes[static_cast<std::size_t>(row)];
}

template <class V>
void FieldBase<V>::setShape(int row, int ni, int nj, int nk) {
  checkRow(row);
  if (ni < 1 || nj < 1 || nk < 1 ||
      static_cast<long long>(ni) * nj * nk != rowSizes[static_cast<std::size_t>(row)])
    raise<DimError>("The row's shape does not match its count of points");
  shapes[static_cast<std::size_t>(row)] = {ni, nj, nk};
}

template <class V>
int FieldBase<V>::indexOf(const std::string& functionName) const {
  for (std::size_t i = 0; i < functions.size(); ++i)
    if (functions[i] && functions[i]->name() == functionName) return static_cast<int>(i);
  return -1;
}

template <class V>
FieldBase<V>& FieldBase<V>::function(int i) {
  if (i < 0 || i >= functionCount() || !functions[static_cast<std::size_t>(i)])
    raise<StateError>();
  return *functions[static_cast<std::size_t>(i)];
}

template <class V>
const FieldBase<V>& FieldBase<V>::function(int i) const {
  return const_cast<FieldBase*>(this)->function(i);
}

template <class V>
Field<bool, V>& FieldBase<V>::selection() {
  const int i = indexOf(selectionName);
  auto* s = i < 0 ? nullptr : dynamic_cast<Field<bool, V>*>(functions[static_cast<std::size_t>(i)].get());
  if (!s) raise<IndexError>();
  return *s;
}

template <class V>
const Field<bool, V>& FieldBase<V>::selection() const {
  return const_cast<FieldBase*>(this)->selection();
}

template <class V>
bool FieldBase<V>::isSelected(int row, int col) const {
  return selection().at(row, col);
}

template <class V>
int FieldBase<V>::rowState(int row) const {
  const Field<bool, V>& s = selection();
  if (row < 0 || row >= s.rows() || !s.hasRow(row) || s.rowSize(row) == 0) raise<IndexError>();
  const bool* values = s.row(row);
  const int n = s.rowSize(row);
  const int selected = static_cast<int>(std::count(values, values + n, true));
  return selected == 0 ? 0 : selected == n ? 1 : 2;
}

template <class V>
int FieldBase<V>::selectionState() const {
  const Field<bool, V>& s = selection();
  long long points = 0, selected = 0;
  for (int r = 0; r < s.rows(); ++r) {
    if (!s.hasRow(r)) continue;
    const bool* values = s.row(r);
    points += s.rowSize(r);
    selected += std::count(values, values + s.rowSize(r), true);
  }
  return selected == 0 ? 0 : selected == points ? 1 : 2;
}

template <class V>
void FieldBase<V>::copyBase(const FieldBase& other) {
  fieldName = other.fieldName;
  shapes = other.shapes;
  functions.clear();
  for (const auto& f : other.functions) {
    if (!f) {
      functions.emplace_back();
      continue;
    }
    auto copy = f->clone();
    copy->assign(*f);
    functions.push_back(std::move(copy));
  }
  families.clear();
  for (const auto& f : other.families)
    families.push_back(f ? std::make_unique<Family>(*f) : nullptr);
}

// ---- Field --------------------------------------------------------------

template <class T, class V>
void Field<T, V>::resizeRow(int row, int count) {
  this->checkRow(row);
  if (count < 0) raise<IndexError>();
  data[static_cast<std::size_t>(row)].block = std::make_unique_for_overwrite<T[]>(static_cast<std::size_t>(count));
  this->rowSizes[static_cast<std::size_t>(row)] = count;
  this->shapes[static_cast<std::size_t>(row)] = {0, 0, 0};
}

template <class T, class V>
void Field<T, V>::resizeRows(int count) {
  if (count < 0) raise<IndexError>();
  data.resize(static_cast<std::size_t>(count));
  this->rowSizes.resize(static_cast<std::size_t>(count), 0);
  this->shapes.resize(static_cast<std::size_t>(count), rowShape{0, 0, 0});
}

template <class T, class V>
void Field<T, V>::assign(const FieldBase<V>& other) {
  if (&other == this) return;
  const auto* o = dynamic_cast<const Field*>(&other);
  if (!o) raise<StateError>();
  resizeRows(0);
  resizeRows(o->rows());
  for (int r = 0; r < o->rows(); ++r) copyRow(*o, r);
  this->copyBase(*o);
}

template <class T, class V>
void Field<T, V>::copyRow(const FieldBase<V>& other, int row) {
  const auto* o = dynamic_cast<const Field*>(&other);
  if (!o || row < 0 || row >= o->rows()) raise<StateError>();
  ensureRow(row);
  const auto r = static_cast<std::size_t>(row);
  if (o->hasRow(row)) {
    const int n = o->rowSizes[r];
    resizeRow(row, n);
    std::copy(o->data[r].block.get(), o->data[r].block.get() + n, data[r].block.get());
  } else {
    clearRow(row);
  }
  data[r].text = o->data[r].text;
  this->shapes[r] = o->shapes[r];
}

template <class T, class V>
void Field<T, V>::appendRow(int count) {
  resizeRows(this->rows() + 1);
  resizeRow(this->rows() - 1, count);
}

template <class T, class V>
bool Field<T, V>::hasRow(int row) const {
  return row >= 0 && row < this->rows() && data[static_cast<std::size_t>(row)].block != nullptr;
}

template <class T, class V>
void Field<T, V>::sizeRow(int row, int count) {
  ensureRow(row);
  resizeRow(row, count);
}

template <class T, class V>
void Field<T, V>::clearRow(int row) {
  this->checkRow(row);
  data[static_cast<std::size_t>(row)].block.reset();
  this->rowSizes[static_cast<std::size_t>(row)] = 0;
  this->shapes[static_cast<std::size_t>(row)] = {0, 0, 0};
}

template <class T, class V>
void Field<T, V>::removeRow(int index) {
  this->checkRow(index);
  const auto at = static_cast<std::ptrdiff_t>(index);
  data.erase(data.begin() + at);
  this->rowSizes.erase(this->rowSizes.begin() + at);
  this->shapes.erase(this->shapes.begin() + at);
}

template <class T, class V>
T* Field<T, V>::row(int r) {
  if (!hasRow(r)) raise<IndexError>();
  return data[static_cast<std::size_t>(r)].block.get();
}

template <class T, class V>
const T* Field<T, V>::row(int r) const {
  return const_cast<Field*>(this)->row(r);
}

template <class T, class V>
T& Field<T, V>::at(int r, int col) {
  T* values = row(r);
  if (col < 0 || col >= this->rowSizes[static_cast<std::size_t>(r)]) raise<IndexError>();
  return values[col];
}

template <class T, class V>
const T& Field<T, V>::at(int r, int col) const {
  return const_cast<Field*>(this)->at(r, col);
}

template <class T, class V>
std::string& Field<T, V>::text(int r) {
  this->checkRow(r);
  return data[static_cast<std::size_t>(r)].text;
}

template <class T, class V>
void Field<T, V>::ensureRow(int r) {
  if (r < 0) raise<IndexError>();
  if (r >= this->rows()) resizeRows(r + 1);
}

template <class T, class V>
void Field<T, V>::fillNormals(Field<V, V>& normals) const {
  if constexpr (std::is_same_v<T, V>) {
    normals.resizeRows(this->rows());
    for (int r = 0; r < this->rows(); ++r) {
      const int n = this->rowSizes[static_cast<std::size_t>(r)];
      normals.ensureRow(r);
      normals.resizeRow(r, n);
      V* out = n > 0 ? normals.row(r) : nullptr;
      std::fill(out, out + n, V{});
      const rowShape s = this->shapes[static_cast<std::size_t>(r)];
      if (!hasRow(r) || s[0] == 0) continue;
      normals.setShape(r, s[0], s[1], s[2]);
      // The k = 0 face: the whole of a surface row, the first face of a volume.
      const std::vector<V> face = surfaceNormals(row(r), s[0], s[1]);
      std::copy(face.begin(), face.end(), out);
    }
  } else {
    (void)normals;
    raise<StateError>();
  }
}

template <class T, class V>
Field<V, V>& Field<T, V>::ensureNormals() {
  if constexpr (!std::is_same_v<T, V>) raise<StateError>();
  const int at = this->indexOf(normalsName);
  Field<V, V>* normals =
      at < 0 ? nullptr : dynamic_cast<Field<V, V>*>(this->functions[static_cast<std::size_t>(at)].get());
  if (!normals) normals = &this->template addFunction<V>(normalsName);
  fillNormals(*normals);
  return *normals;
}

template class FieldBase<xyzVec<double>>;
template class Field<double, xyzVec<double>>;
template class Field<bool, xyzVec<double>>;
template class Field<xyzVec<double>, xyzVec<double>>;

}  // namespace zel
