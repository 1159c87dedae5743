#include "StandInSignature.h"

#include <memory>
#include <mutex>

#include "Sha256.h"

namespace quil {
namespace standin {

std::string SecretForAppKey(const std::string& appKey) {
    return Sha256("quil-standin-secret:" + appKey);
}

namespace {

// The key of the last app key signed for: a signer sees the same app key call after call, and
// the key's own digests would cost as much as the message's.
struct LastKey {
    std::mutex mutex;  // guards appKey and key
    std::string appKey;
    std::shared_ptr<const HmacSha256Key> key;
};

// Never destroyed: a signing may still run on another thread while the process exits.
LastKey& TheLastKey() {
    static LastKey* last = new LastKey();
    return *last;
}

std::shared_ptr<const HmacSha256Key> KeyFor(const std::string& appKey) {
    LastKey& last = TheLastKey();
    {
        std::lock_guard<std::mutex> lock(last.mutex);
        if (last.key && last.appKey == appKey) return last.key;
    }
    auto key = std::make_shared<const HmacSha256Key>(SecretForAppKey(appKey));
    std::lock_guard<std::mutex> lock(last.mutex);
    last.appKey = appKey;
    last.key = key;
    return key;
}

}  // namespace

std::string Signature(const std::string& appKey, const std::string& label,
                      const std::string& data) {
    static const std::string kSeparator = "&";
    return ToHex(KeyFor(appKey)->Sign({&label, &kSeparator, &data}));
}

}  // namespace standin
}  // namespace quil
