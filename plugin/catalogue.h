// The commands of the plug-in, each registered by its own file: a static
// `commandRegistration` beside the handler hands its descriptor over when the
// library loads. The menu order (plugin/tableRows.cpp) places them by name.
#pragma once

#include <memory>
#include <string_view>
#include <vector>

#include "host/command.h"
#include "host/paramRecord.h"
#include "plugin/session.h"

namespace tamble {

struct commandRegistration {
  explicit commandRegistration(commandDescriptor descriptor);
};

// Every registered command, in no particular order; addresses stay valid.
const std::vector<const commandDescriptor*>& registeredCommands();
// The command of that stable name, or null.
const commandDescriptor* findCommand(std::string_view name);

// The record T as the command's dialog opens it next: the values it
// remembers in the session (T's own defaults until the first OK).
template <class T>
std::unique_ptr<paramRecord> rememberedRecord() {
  auto record = std::make_unique<ownedRecord<T>>();
  record->values() = session().remembered<T>();
  return record;
}

// The record T with its own defaults: a dialog that remembers nothing.
template <class T>
std::unique_ptr<paramRecord> freshRecord() {
  return std::make_unique<ownedRecord<T>>();
}

// A record made from values the command computes (`open` answers a T).
template <class T, T (*open)()>
std::unique_ptr<paramRecord> openedRecord() {
  auto record = std::make_unique<ownedRecord<T>>();
  record->values() = open();
  return record;
}

}  // namespace tamble
