// A project carries one copy of the stage dialogs' parameters. Opening a
// project copies the store into that block and then the project file's own
// values into the store, so the store holds what the project says and a
// value the project lacks keeps the stored one.
#pragma once

#include <memory>
#include <vector>

#include "host/paramRecord.h"

namespace zel {
struct vurStr;
}

namespace tamble {

// The records of the stages, each with an object of its own, in the order of
// the parameter block.
std::vector<std::unique_ptr<paramRecord>> stageRecords();

// Every stage record from the store into the held project's block.
void parametersToProject();
// Reads the project file's strings again, then every stage value the block
// holds into the store.
void parametersFromProject();
// The block's values of the known stage records must parse and lie in their
// ranges: zel::FileError naming the project, the section and the key, before
// anything is changed.
void checkProjectParameters(const zel::vurStr& project);

}  // namespace tamble
