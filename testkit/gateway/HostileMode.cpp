#include "HostileMode.h"

#include <string>
#include <utility>

namespace quil {

namespace {

// splitmix64: a fixed, portable mixing of seed and answer number.
uint64_t Mix(uint64_t x) {
    x += 0x9e3779b97f4a7c15ULL;
    x = (x ^ (x >> 30)) * 0xbf58476d1ce4e5b9ULL;
    x = (x ^ (x >> 27)) * 0x94d049bb133111ebULL;
    return x ^ (x >> 31);
}

const int kOddStatuses[] = {200, 201, 202, 204, 206, 301, 302, 304, 307, 400, 401, 403,
                            404, 405, 408, 409, 429, 431, 500, 501, 502, 503, 504, 505};
const int kFlowStatuses[] = {410, 411, 412, 413, 414, 415, 416, 417,
                             418, 419, 420, 421, 422, 499, 599};
const char* const kFailureCodes[] = {"FAIL_SYS_TRAFFIC_LIMIT",
                                     "FAIL_SYS_FLOWLIMIT",
                                     "FAIL_SYS_SERVICE_INNER_FAULT",
                                     "FAIL_SYS_ILEGEL_SIGN",
                                     "FAIL_SYS_USER_VALIDATE",
                                     "SUCCESS",
                                     "",
                                     "::"};
const char* const kGarbageBodies[] = {
    "",
    "null",
    "[]",
    "{}",
    "{\"ret\":[]}",
    "{\"ret\":\"SUCCESS::x\"}",
    "{\"ret\":[{}]}",
    "{\"ret\":[1e999]}",
    "{\"ret\":[\"SUCCESS::ok\"]",
    "<html><body>502 Bad Gateway</body></html>",
    "{\"ret\":[\"\\ud800::lone\"]}",
    "{\"ret\":[\"FAIL_X::\\u0000nul\"],\"data\":{\"a\":[[[[]]]]}}"};

template <typename T, std::size_t N>
const T& Pick(const T (&items)[N], uint64_t draw) {
    return items[draw % N];
}

std::string RetBody(const std::string& code, const std::string& message) {
    return "{\"ret\":[\"" + code + "::" + message + "\"],\"data\":{}}";
}

std::string RawAnswer(int status, const std::string& headerLines, const std::string& body) {
    return "HTTP/1.1 " + std::to_string(status) + " Hostile\r\n" + headerLines + "\r\n" + body;
}

// Bytes that no header parser expects: control characters, high bytes, lone CR and LF.
std::string GarbageLine(uint64_t draw, std::size_t length) {
    std::string line;
    line.reserve(length);
    for (std::size_t i = 0; i < length; ++i) {
        draw = Mix(draw);
        char c = static_cast<char>(draw & 0xff);
        if (c == '\0') c = '\x01';
        line.push_back(c);
    }
    return line;
}

}  // namespace

const char* HostileKindName(HostileKind kind) {
    switch (kind) {
        case HostileKind::kNormal:
            return "hostile:normal";
        case HostileKind::kOddStatus:
            return "hostile:odd-status";
        case HostileKind::kFlowStatus:
            return "hostile:flow-status";
        case HostileKind::kTruncatedBody:
            return "hostile:truncated-body";
        case HostileKind::kOversizedBody:
            return "hostile:oversized-body";
        case HostileKind::kShortContentLength:
            return "hostile:short-content-length";
        case HostileKind::kGarbageHeaders:
            return "hostile:garbage-headers";
        case HostileKind::kOversizedHeader:
            return "hostile:oversized-header";
        case HostileKind::kDrop:
            return "hostile:drop";
        case HostileKind::kSlow:
            return "hostile:slow";
        case HostileKind::kSessionExpired:
            return "hostile:session-expired";
        case HostileKind::kClockExpired:
            return "hostile:clock-expired";
        case HostileKind::kGarbageBody:
            return "hostile:garbage-body";
        case HostileKind::kCount:
            break;
    }
    return "hostile:?";
}

uint64_t HostileMode::Draw(uint64_t n, uint64_t salt) const {
    return Mix(options_.seed ^ Mix(n * 0x100000001b3ULL + salt));
}

HostileKind HostileMode::KindOf(uint64_t n) const {
    if (static_cast<int>(Draw(n, 0) % 100) < options_.normalPercent) return HostileKind::kNormal;
    const uint64_t kinds = static_cast<uint64_t>(HostileKind::kCount) - 1;
    return static_cast<HostileKind>(1 + Draw(n, 1) % kinds);
}

EmulatorAnswer HostileMode::AnswerGateway(const ReceivedRequest& request, EmulatorAnswer normal) {
    const uint64_t n = ++gatewayCount_;
    const HostileKind kind = KindOf(n);
    const uint64_t draw = Draw(n, 2);
    EmulatorAnswer answer;
    answer.code = HostileKindName(kind);
    const std::string code = Pick(kFailureCodes, draw >> 8);
    switch (kind) {
        case HostileKind::kNormal:
            return normal;
        case HostileKind::kOddStatus:
            answer.status = Pick(kOddStatuses, draw);
            if (draw & 0x10000) answer.body = RetBody(code, "odd status");
            if (draw & 0x20000) answer.headers.emplace_back("x-retcode", code);
            if (draw & 0x40000) {
                // A 1xx before (or instead of) the real answer.
                const std::string body = RetBody("SUCCESS", "after interim");
                answer.raw =
                    (draw & 0x80000)
                        ? "HTTP/1.1 100 Continue\r\n\r\n" +
                              RawAnswer(200,
                                        "Content-Length: " + std::to_string(body.size()) + "\r\n",
                                        body)
                        : std::string("HTTP/1.1 102 Processing\r\n\r\n");
            }
            return answer;
        case HostileKind::kFlowStatus:
            answer.status = Pick(kFlowStatuses, draw);
            answer.headers.emplace_back("x-retcode", code);
            answer.body = RetBody(code, "flow limit");
            if (draw & 0x10000) answer.headers.emplace_back("x-systime", "not-a-time");
            return answer;
        case HostileKind::kTruncatedBody: {
            const std::string body = normal.body.empty() ? RetBody("SUCCESS", "x") : normal.body;
            answer.raw = RawAnswer(200,
                                   "Content-Length: " + std::to_string(body.size() + 100) +
                                       "\r\nx-retcode: SUCCESS\r\n",
                                   body.substr(0, body.size() / 2));
            return answer;
        }
        case HostileKind::kOversizedBody: {
            const std::size_t size =
                options_.oversizedBytes / 2 + draw % (options_.oversizedBytes / 2 + 1);
            answer.body = "{\"ret\":[\"SUCCESS::big\"],\"data\":{\"pad\":\"" +
                          std::string(size, 'x') + "\"}}";
            if (draw & 0x10000) answer.body.resize(size);  // not even JSON
            return answer;
        }
        case HostileKind::kShortContentLength: {
            const std::string body = RetBody("SUCCESS", "longer than announced");
            answer.raw =
                RawAnswer(200, "Content-Length: " + std::to_string(body.size() / 3) + "\r\n", body);
            return answer;
        }
        case HostileKind::kGarbageHeaders: {
            const std::string body = RetBody(code, "garbage headers");
            std::string lines = "x-retcode:" + code + "\r\n: empty name\r\nno colon at all\r\n" +
                                GarbageLine(draw, 1 + draw % 200) + "\r\n" +
                                "s-rt: " + GarbageLine(draw >> 3, 8) + "\r\n";
            lines += "Content-Length: " + std::to_string(body.size()) + "\r\n";
            answer.raw = RawAnswer(200, lines, body);
            return answer;
        }
        case HostileKind::kOversizedHeader: {
            const std::string body = RetBody("SUCCESS", "big header");
            const std::size_t size = 16 * 1024 + draw % (256 * 1024);
            answer.raw = RawAnswer(200,
                                   "x-big: " + std::string(size, 'h') + "\r\nContent-Length: " +
                                       std::to_string(body.size()) + "\r\n",
                                   body);
            return answer;
        }
        case HostileKind::kDrop:
            answer.closeWithoutAnswer = true;
            answer.delayMs = static_cast<int>(draw % 50);
            return answer;
        case HostileKind::kSlow:
            normal.delayMs = options_.slowMs;
            normal.code = answer.code;
            return normal;
        case HostileKind::kSessionExpired: {
            const std::string expired = (draw & 1) ? "FAIL_SYS_SESSION_EXPIRED" : "ERR_SID_INVALID";
            answer.headers.emplace_back("x-retcode", expired);
            answer.body = RetBody(expired, "Session expired");
            return answer;
        }
        case HostileKind::kClockExpired: {
            const std::string expired =
                (draw & 1) ? "FAIL_SYS_REQUEST_EXPIRED" : "FAIL_SYS_EXPIRED_REQUEST";
            const char* const times[] = {"0", "-1",         "99999999999999999999", "abc",
                                         "",  "1700000000", "4102444800",           "1e9"};
            answer.headers.emplace_back("x-retcode", expired);
            answer.headers.emplace_back("x-systime", Pick(times, draw >> 4));
            answer.body = RetBody(expired, "request expired");
            return answer;
        }
        case HostileKind::kGarbageBody:
            answer.body = Pick(kGarbageBodies, draw);
            if (draw & 0x10000) answer.body = GarbageLine(draw, draw % 300);
            if (draw & 0x20000) answer.body = std::string(2000, '[');
            return answer;
        case HostileKind::kCount:
            break;
    }
    (void)request;
    return normal;
}

EmulatorAnswer HostileMode::AnswerDispatch(EmulatorAnswer normal) {
    const uint64_t n = ++dispatchCount_;
    const uint64_t draw = Draw(n, 3);
    EmulatorAnswer answer = normal;
    auto setHeader = [&answer](const std::string& name, const std::string& value) {
        for (auto& header : answer.headers) {
            if (header.first == name) {
                header.second = value;
                return;
            }
        }
        answer.headers.emplace_back(name, value);
    };
    auto dropHeader = [&answer](const std::string& name) {
        for (auto it = answer.headers.begin(); it != answer.headers.end(); ++it) {
            if (it->first == name) {
                answer.headers.erase(it);
                return;
            }
        }
    };
    switch (draw % 10) {
        case 0:
            answer.code = "hostile:dispatch-valid";
            break;
        case 1:
            setHeader("x-zn-sign", "0000" + std::to_string(draw));
            break;
        case 2:
            dropHeader("x-zn-sign");
            break;
        case 3:
            setHeader("x-zn-code", (draw & 0x100) ? "4000" : "01000");
            break;
        case 4:
            answer.body = "!!not base64 at all!!" + GarbageLine(draw, 40);
            break;
        case 5:
            answer.body.clear();
            break;
        case 6:
            answer.body = "bnVsbA==";
            break;  // "null"
        case 7:
            answer.raw = RawAnswer(200, "x-zn-code: 1000\r\nContent-Length: 100000\r\n",
                                   answer.body.substr(0, answer.body.size() / 2));
            break;
        case 8:
            answer.closeWithoutAnswer = true;
            break;
        default:
            answer.status = (draw & 0x100) ? 500 : 302;
            break;
    }
    if (answer.code.compare(0, 8, "hostile:") != 0) answer.code = "hostile:dispatch";
    return answer;
}

}  // namespace quil
