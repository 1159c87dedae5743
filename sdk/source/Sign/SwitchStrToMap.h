// Turns the closed library's JSON object of sign headers into an ordered map. A free function
// with no state: any thread may call it.
#pragma once

#include <map>
#include <string>

// Each member of the top-level object of json gives an entry, its value read as a string (a
// nested object or array as its compact JSON text). A name that stands twice keeps its first
// value. A text that does not parse as a JSON object logs "__SwitchToMap json parse failed" at
// level 1 and gives an empty map.
std::map<std::string, std::string> __SwitchStrToMap(std::string json);
