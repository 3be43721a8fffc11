// The named root of the image model's objects.
#pragma once

#include <cstddef>
#include <string>

namespace zel {

class ObjectId {
 public:
  std::string name;

  ObjectId() = default;
  explicit ObjectId(std::string n) : name(std::move(n)) {}
  ObjectId(const ObjectId&) = default;
  ObjectId& operator=(const ObjectId&) = default;
  virtual ~ObjectId() = default;

  // Bytes the object holds; for a bare object, the length of its name.
  virtual std::size_t size() const { return name.size(); }
};

}  // namespace zel
