// The reference URL encoding the benchmarks compare the SDK's composition against: a plain
// 256-entry table, "+" for a blank, "%XX" otherwise. Pure function.
#pragma once

#include <string>

namespace quil {
namespace bench {

std::string TableUrlEncode(const std::string& text);

}  // namespace bench
}  // namespace quil
