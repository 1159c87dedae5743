// KolvaContent: the two texts the traffic-protection filter exchanges with the closed library:
// the content it hands over (a gateway answer packed as compact JSON) and the ban length read
// from a verdict's parameter. Pure functions; any thread.
#pragma once

#include <cstdint>
#include <map>
#include <string>

class KolvaContent {
public:
    // What a verdict's parameter says about the length of a ban.
    enum class BanLength {
        kNone,     // the text does not name "kv-sleep": no ban
        kRead,     // seconds holds the length read from "kv-sleep"
        kDefault,  // "kv-sleep" is named but cannot be read: the default length applies
    };

    // The default ban length, in seconds.
    static constexpr int kDefaultBanSeconds = 10;

    // {"header":{<each header>,"native_login":"true"},"httpCode":<status>} as the compact
    // writer makes it, members sorted, with its closing line feed. "native_login" always holds
    // the fixed value, also over a header of that name.
    static std::string Build(const std::map<std::string, std::string>& headers, int statusCode);

    // Reads the ban length from actionParam: the member "kv-sleep" (milliseconds, as text) of
    // a JSON object, divided by 1000 with an integer division and held within the range of
    // int. A text that names "kv-sleep" but is not JSON, or whose member cannot be read as
    // text, gives kDefault.
    static BanLength ReadBanSeconds(const std::string& actionParam, int* seconds);
};
