// The directory a stand-in module was loaded from, which is where its sibling files lie.
#pragma once

#include <string>

namespace quil {
namespace standin {

// The directory of the module that contains this code, without a trailing separator, as UTF-8;
// empty when it cannot be told.
std::string ModuleDirectory();

}  // namespace standin
}  // namespace quil
