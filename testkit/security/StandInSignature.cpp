#include "StandInSignature.h"

#include "Sha256.h"

namespace quil {
namespace standin {

std::string SecretForAppKey(const std::string& appKey) {
    return Sha256("quil-standin-secret:" + appKey);
}

std::string Signature(const std::string& appKey, const std::string& label,
                      const std::string& data) {
    return ToHex(HmacSha256(SecretForAppKey(appKey), label + "&" + data));
}

}  // namespace standin
}  // namespace quil
