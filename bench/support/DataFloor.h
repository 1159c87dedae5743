// The floor a call with large data is compared against: what no composition of the call can
// avoid doing with the data, done plainly (OpenSSL's MD5 of it as hex, and the table-driven URL
// encoding of it). Pure function, any thread.
#pragma once

#include <cstddef>
#include <string>

namespace quil {
namespace bench {

// Returns the combined length of the two results, so that a caller can keep the work alive.
std::size_t DataFloor(const std::string& data);

}  // namespace bench
}  // namespace quil
