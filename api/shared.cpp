#include "api/shared.h"

#include <unistd.h>

#include <cstdio>
#include <map>
#include <mutex>
#include <string>

namespace zel {
namespace {

// Stands in for a named memory region: a slot per name, alive while any
// handle has it open. libzel is one shared object per process, so every
// module that links it reaches this same table.
// The region keeps a reference of its own to the object it publishes, so the
// object outlives any one handle for as long as the name is open anywhere.
struct Region {
  Deletable* published = nullptr;
  int handles = 0;

  void publish(Deletable* obj) {
    if (obj) obj->addRef();
    if (published) published->release();
    published = obj;
  }
};

struct Table {
  std::mutex lock;
  std::map<std::string, Region> regions;
};

Table& table() {
  static Table t;
  return t;
}

}  // namespace

shared_ptr_base::shared_ptr_base(const char* name, Deletable* obj) {
  if (name)
    attach(name, obj);
  else
    object = obj;
}

shared_ptr_base::~shared_ptr_base() { detach(); }

void shared_ptr_base::attach(const char* name, Deletable* obj) {
  std::snprintf(mappingName, sizeof mappingName, "%d_%s", static_cast<int>(getpid()), name);
  Table& t = table();
  std::lock_guard<std::mutex> guard(t.lock);
  auto [it, created] = t.regions.try_emplace(mappingName);
  Region& region = it->second;
  ++region.handles;
  mapping = &region;
  view = &region.published;
  isCreator = created;
  if (isCreator && obj) region.publish(obj);
  object = region.published;
  isMapped = true;
  if (object) object->addRef();
  // An object offered by a late comer is not used; free it unless someone
  // else holds it.
  if (obj && obj != object && obj->refCount == 0) delete obj;
}

void shared_ptr_base::detach() {
  if (object) object->release();
  object = nullptr;
  if (isMapped) {
    Table& t = table();
    std::lock_guard<std::mutex> guard(t.lock);
    auto it = t.regions.find(mappingName);
    if (it != t.regions.end() && --it->second.handles == 0) {
      it->second.publish(nullptr);
      t.regions.erase(it);
    }
  }
  mapping = nullptr;
  view = nullptr;
  isMapped = false;
  isCreator = false;
}

void shared_ptr_base::set(Deletable* obj, const char* name) {
  if (name) {
    detach();
    attach(name, obj);
    return;
  }
  if (obj) obj->addRef();
  if (object) object->release();
  object = obj;
  if (isMapped) {
    std::lock_guard<std::mutex> guard(table().lock);
    static_cast<Region*>(mapping)->publish(obj);
  }
}

int shared_ptr_base::openHandles(const char* name) {
  char full[sizeof mappingName];
  std::snprintf(full, sizeof full, "%d_%s", static_cast<int>(getpid()), name);
  Table& t = table();
  std::lock_guard<std::mutex> guard(t.lock);
  auto it = t.regions.find(full);
  return it == t.regions.end() ? 0 : it->second.handles;
}

shared_ptr<bool>& interactive() {
  static shared_ptr<bool> flag("interactive", true);
  return flag;
}

namespace {
// The flag exists from the moment the library is loaded.
[[maybe_unused]] const bool flagCreatedAtLoad = (interactive(), true);
}  // namespace

}  // namespace zel
