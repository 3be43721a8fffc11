#include "host/resectionService.h"

namespace tamble {
namespace {

resectionService& registered() {
  static resectionService s = nullptr;
  return s;
}

}  // namespace

void registerResection(resectionService service) { registered() = service; }

resectionService registeredResection() { return registered(); }

}  // namespace tamble
