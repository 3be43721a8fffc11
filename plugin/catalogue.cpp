#include "plugin/catalogue.h"

#include <deque>

namespace tamble {
namespace {

// A deque keeps the descriptors where they are as more arrive.
std::deque<commandDescriptor>& store() {
  static std::deque<commandDescriptor> descriptors;
  return descriptors;
}

std::vector<const commandDescriptor*>& index() {
  static std::vector<const commandDescriptor*> all;
  return all;
}

}  // namespace

commandRegistration::commandRegistration(commandDescriptor descriptor) {
  store().push_back(std::move(descriptor));
  index().push_back(&store().back());
}

const std::vector<const commandDescriptor*>& registeredCommands() { return index(); }

const commandDescriptor* findCommand(std::string_view name) {
  for (const commandDescriptor* d : index())
    if (name == d->name) return d;
  return nullptr;
}

}  // namespace tamble
