// What quilcall does to the texts it puts into a URL. The SDK sends parameters and API names
// exactly as given, so a host (this tool included) encodes and validates them first.
// Free functions over plain strings; any thread.
#pragma once

#include <map>
#include <string>

namespace quil {

// Percent-encodes every byte but the unreserved ones (A-Z a-z 0-9 "-" "." "_" "~"), so a
// parameter key or value can neither break the URL nor add a parameter of its own.
std::string EncodeQueryComponent(const std::string& text);

// The parameters with each key and each value encoded.
std::map<std::string, std::string> EncodeQueryParameters(
    const std::map<std::string, std::string>& params);

// "" when the text may stand as one segment of the gateway path "/gw/API/VERSION/"; otherwise
// the reason it may not: it is empty, or holds a blank, "/", "?", "#" or a control character.
std::string PathSegmentRefusal(const std::string& text);

}  // namespace quil
