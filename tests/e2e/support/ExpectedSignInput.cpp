#include "ExpectedSignInput.h"

#include "Md5.h"

namespace quil {
namespace test {

std::string ExpectedSignInput::Build(bool extended) const {
    const bool located = !lat.empty() && !lng.empty();
    std::string text = utdid + "&" + uid + "&" + reqBizExt + "&" + appKey + "&" + Md5Hex(data) +
                       "&" + std::to_string(timestamp) + "&" + api + "&" + version + "&" + sid +
                       "&" + ttid + "&" + devId + "&" + (located ? lat : "") + "&" +
                       (located ? lng : "") + "&";
    if (extended || extType == "isv_open_api") {
        text += extData + "&";
    }
    if (features > 0) {
        // The gateway covers the low byte of the features itself, not their decimal text.
        text += static_cast<char>(features & 0xFF);
    }
    text += "&&&";
    text += openBiz + "&" + miniAppKey + "&" + reqAppKey + "&" + act + "&" + openBizData;
    return text;
}

}  // namespace test
}  // namespace quil
