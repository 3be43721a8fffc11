// Reference-counted objects that every module of the process can reach by
// name, without one module linking to another's symbols. The first module to
// ask for a name creates the object; later ones see the same one.
#pragma once

#include <cstdint>

namespace zel {

class Deletable {
 public:
  std::int32_t refCount = 0;

  Deletable() = default;
  Deletable(const Deletable&) = delete;
  Deletable& operator=(const Deletable&) = delete;
  virtual ~Deletable() = default;
  virtual void addRef() { ++refCount; }
  // Deletes the object when the count falls below 1.
  virtual void release() {
    if (--refCount < 1) delete this;
  }
  virtual void deleteHeld() = 0;
};

template <class T>
class shared_smart_ptr : public Deletable {
 public:
  T* held = nullptr;

  explicit shared_smart_ptr(T* object = nullptr) : held(object) {}
  ~shared_smart_ptr() override { deleteHeld(); }
  void deleteHeld() override {
    delete held;
    held = nullptr;
  }
};

// One named slot of the process-wide table: it holds an object's address for
// as long as some shared_ptr_base has it open.
class shared_ptr_base {
 public:
  char mappingName[264] = {};
  void* mapping = nullptr;  // the table entry
  void* view = nullptr;     // where the entry keeps the published object
  bool isCreator = false;
  bool isMapped = false;
  Deletable* object = nullptr;

  shared_ptr_base(const char* name = nullptr, Deletable* obj = nullptr);
  shared_ptr_base(const shared_ptr_base&) = delete;
  shared_ptr_base& operator=(const shared_ptr_base&) = delete;
  virtual ~shared_ptr_base();

  // With a name: drops the old attachment and attaches anew. Without one:
  // replaces the object, and publishes it in the slot if attached.
  void set(Deletable* obj, const char* name = nullptr);
  bool isValid() const { return isMapped && object != nullptr; }

  // How many handles hold the slot of `name` in this process (0 if none).
  static int openHandles(const char* name);

 private:
  void attach(const char* name, Deletable* obj);
  void detach();
};

template <class T>
class shared_ptr : public shared_ptr_base {
 public:
  // With `create`, the first module to come allocates a T (value-initialised,
  // so a bool starts false) and publishes it.
  shared_ptr(const char* name, bool create) : shared_ptr_base(name, nullptr) {
    if (isCreator && create && !object) set(new shared_smart_ptr<T>(new T()));
  }
  ~shared_ptr() override = default;

  T* get() const {
    auto* holder = dynamic_cast<shared_smart_ptr<T>*>(object);
    return holder ? holder->held : nullptr;
  }
  T& operator*() const { return *get(); }
};

// The process-wide flag for unattended running, created under "interactive".
shared_ptr<bool>& interactive();

}  // namespace zel
