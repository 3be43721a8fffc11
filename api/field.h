// Fields: a data set of rows of points (the nodes of a mesh's blocks, one
// block a row) on which named functions are defined, each itself a field
// with the same rows. Two function names are reserved: "$_selection" (one
// bool per point) and "$_N" (the normal at each point).
#pragma once

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "api/vectors.h"

namespace zel {

// A named group of rows within a data set.
class Family {
 public:
  virtual ~Family() = default;
  std::string name;
  std::string kind;       // what the group is: "wing", "body", ...
  std::vector<int> rows;  // the rows it holds
  std::string comment;
};

template <class T, class V>
class Field;

inline constexpr const char* selectionName = "$_selection";
inline constexpr const char* normalsName = "$_N";

// The structure of a row that is a structured block: ni x nj x nk points, i
// fastest. A row of no known structure has all three 0.
using rowShape = std::array<int, 3>;

template <class V>
class FieldBase {
 public:
  virtual ~FieldBase() = default;

  // Frees the row's block and makes one of `count` values.
  virtual void resizeRow(int row, int count) = 0;
  // Grows (with empty rows) or shrinks the rows.
  virtual void resizeRows(int count) = 0;
  virtual const std::string& name() const { return fieldName; }
  virtual void setName(const std::string& text) { fieldName = text; }
  // A new, empty field of the same flavour.
  virtual std::unique_ptr<FieldBase> clone() const = 0;
  // Copies the whole of a field of the same flavour: rows, name, shapes and
  // functions. zel::StateError for another flavour.
  virtual void assign(const FieldBase& other) = 0;
  // Copies one row of a field of the same flavour into the same row here,
  // growing the rows when needed.
  virtual void copyRow(const FieldBase& other, int row) = 0;
  // Appends a row with a block of `count` values and an empty text.
  virtual void appendRow(int count) = 0;
  // True when `row` is in range and has a block.
  virtual bool hasRow(int row) const = 0;
  // As resizeRow, but first grows the rows to row + 1 when it is past the end.
  virtual void sizeRow(int row, int count) = 0;
  // Frees the row's block; its count becomes 0.
  virtual void clearRow(int row) = 0;
  // Frees the row's block and closes the gap.
  virtual void removeRow(int index) = 0;

  int rows() const { return static_cast<int>(rowSizes.size()); }
  // The number of values of a row; zel::IndexError out of range.
  int rowSize(int row) const;
  const rowShape& shape(int row) const;
  // Gives a row its block structure; its count must be ni * nj * nk.
  void setShape(int row, int ni, int nj, int nk);

  // The functions: whole-text lookup, -1 when there is none.
  int indexOf(const std::string& functionName) const;
  int functionCount() const { return static_cast<int>(functions.size()); }
  // The i-th function; zel::StateError "State error!" outside the array or
  // for an empty slot.
  FieldBase& function(int i);
  const FieldBase& function(int i) const;
  // A function of values T with this field's rows and shapes, named `n`,
  // every value T{}; one of that name is replaced.
  template <class T>
  Field<T, V>& addFunction(const std::string& n);

  // The selection: the function "$_selection". zel::IndexError when it is
  // not there (or not a bool function).
  Field<bool, V>& selection();
  const Field<bool, V>& selection() const;
  // zel::IndexError when the row or the column is out of range.
  bool isSelected(int row, int col) const;
  // 0: no point of the row is selected, 1: all are, 2: some are.
  // zel::IndexError for a row out of range or with no points.
  int rowState(int row) const;
  // The same over all points of all rows; 0 for a data set with no points.
  int selectionState() const;

  std::vector<std::unique_ptr<Family>> families;

 protected:
  std::vector<int> rowSizes;
  std::vector<rowShape> shapes;
  std::string fieldName;
  std::vector<std::unique_ptr<FieldBase>> functions;

  void copyBase(const FieldBase& other);
  void checkRow(int row) const;
};

template <class T, class V>
class Field : public FieldBase<V> {
 public:
  Field() = default;
  Field(const Field& other) : FieldBase<V>() { assign(other); }
  Field& operator=(const Field& other) {
    if (this != &other) assign(other);
    return *this;
  }

  void resizeRow(int row, int count) override;
  void resizeRows(int count) override;
  std::unique_ptr<FieldBase<V>> clone() const override { return std::make_unique<Field>(); }
  void assign(const FieldBase<V>& other) override;
  void copyRow(const FieldBase<V>& other, int row) override;
  void appendRow(int count) override;
  bool hasRow(int row) const override;
  void sizeRow(int row, int count) override;
  void clearRow(int row) override;
  void removeRow(int index) override;

  // The values of a row; zel::IndexError for a row out of range or without
  // a block, or a column out of range.
  T* row(int r);
  const T* row(int r) const;
  T& at(int r, int col);
  const T& at(int r, int col) const;
  std::string& text(int r);

  // A row that exists: rows grow to row + 1 when it is past the end (the new
  // rows empty); zel::IndexError for a negative row.
  void ensureRow(int r);

  // Points only (T = V): makes "$_N" when missing and fills it from the rows
  // that have data: a surface row (nk = 1) gets at each point the unit
  // normal of the cross product of its central differences along i and
  // along j (one-sided at the edges); a volume row (nk > 1) gets the normals
  // of its k = 0 face at that face's points and zero vectors elsewhere; a
  // row of no known structure, a line, or a point where the differences are
  // parallel, gets the zero vector. zel::StateError for a non-point field.
  Field<V, V>& ensureNormals();

 private:
  struct rowData {
    std::unique_ptr<T[]> block;
    std::string text;
  };
  std::vector<rowData> data;
  void fillNormals(Field<V, V>& normals) const;
};

using pointField = Field<xyzVec<double>, xyzVec<double>>;

// The unit normals of an ni x nj surface of points (i fastest), as Field's
// ensureNormals makes them.
std::vector<xyzVec<double>> surfaceNormals(const xyzVec<double>* points, int ni, int nj);

extern template class FieldBase<xyzVec<double>>;
extern template class Field<double, xyzVec<double>>;
extern template class Field<bool, xyzVec<double>>;
extern template class Field<xyzVec<double>, xyzVec<double>>;

template <class V>
template <class T>
Field<T, V>& FieldBase<V>::addFunction(const std::string& n) {
  auto f = std::make_unique<Field<T, V>>();
  f->setName(n);
  for (int r = 0; r < rows(); ++r) {
    f->appendRow(rowSizes[static_cast<std::size_t>(r)]);
    for (int c = 0; c < rowSizes[static_cast<std::size_t>(r)]; ++c) f->at(r, c) = T{};
    const rowShape& s = shapes[static_cast<std::size_t>(r)];
    if (s[0] > 0) f->setShape(r, s[0], s[1], s[2]);
  }
  Field<T, V>& made = *f;
  const int at = indexOf(n);
  if (at >= 0)
    functions[static_cast<std::size_t>(at)] = std::move(f);
  else
    functions.push_back(std::move(f));
  return made;
}

}  // namespace zel
