// What the plug-in knows of the open project between commands.
#pragma once

#include <string>

namespace tamble {

// The paint kind of the open project: "double", "single", "Tsingle", or
// empty while no project is open. Opening a project sets it.
std::string& paintKind();

}  // namespace tamble
