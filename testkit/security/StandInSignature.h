// The signatures the stand-in security library makes, exposed so that a gateway emulator (or a
// test) can recompute and verify them. Pure functions; any thread.
#pragma once

#include <string>

namespace quil {
namespace standin {

// The labels that keep the signatures of the two roads and the two 6.2 methods apart.
constexpr const char kLabelJson[] = "6.3";
constexpr const char kLabelUrlMethod1[] = "6.2/1";
constexpr const char kLabelUrlMethod2[] = "6.2/2";

// The sign headers of the JSON road.
constexpr const char kSignHeader[] = "x-standin-sign";
constexpr const char kSchemeHeader[] = "x-standin-scheme";
constexpr const char kSchemeValue[] = "hmac-sha256";

// The 32-byte secret of an app key: SHA-256 of "quil-standin-secret:" followed by the app key.
std::string SecretForAppKey(const std::string& appKey);

// Lower-case hex of HMAC-SHA256(SecretForAppKey(appKey), label + "&" + data).
std::string Signature(const std::string& appKey, const std::string& label, const std::string& data);

}  // namespace standin
}  // namespace quil
