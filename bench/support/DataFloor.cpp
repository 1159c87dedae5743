#include "DataFloor.h"

#include <openssl/evp.h>

#include "TableUrlEncode.h"

namespace quil {
namespace bench {

std::size_t DataFloor(const std::string& data) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    EVP_Digest(data.data(), data.size(), digest, &length, EVP_md5(), nullptr);
    static const char hex[] = "0123456789abcdef";
    std::string text(length * 2, '0');
    for (unsigned int i = 0; i < length; ++i) {
        text[2 * i] = hex[digest[i] >> 4];
        text[2 * i + 1] = hex[digest[i] & 15];
    }
    return TableUrlEncode(data).size() + text.size();
}

}  // namespace bench
}  // namespace quil
