// The emulator's pure wire helpers and its rebuilding of the signed text, checked against
// literal bytes.
#include <gtest/gtest.h>

#include "GatewaySignInput.h"
#include "HandComposedCall.h"
#include "Md5.h"
#include "ReceivedRequest.h"
#include "StandInSignature.h"
#include "WireCodec.h"

namespace quil {
namespace {

constexpr char kMd5OfBraces[] = "99914b932bd37a50b983c5e7c90ae93b";

ReceivedRequest Parsed(const test::HandComposedCall& call) {
    const std::string wire = call.Wire();
    ReceivedRequest request;
    EXPECT_TRUE(ParseRequestHead(wire.substr(0, wire.find("\r\n\r\n") + 4), &request));
    request.body = call.Body();
    return request;
}

test::HandComposedCall EveryField() {
    test::HandComposedCall call;
    call.api = "a.b";
    call.version = "1.0";
    call.data = "{}";
    call.utdid = "u1";
    call.needLogin = true;
    call.uid = "U9";
    call.sid = "S9";
    call.reqBizExt = "rb";
    call.appKey = "ak";
    call.timestamp = 1700000000;
    call.ttid = "tt";
    call.devId = "dv";
    call.lat = "30.1";
    call.lng = "120.2";
    call.extData = "ed";
    call.features = 27;
    call.openBiz = "ob";
    call.miniAppKey = "mk";
    call.reqAppKey = "rk";
    call.act = "ac";
    call.openBizData = "od";
    return call;
}

TEST(GatewayWire, Md5MatchesThePublishedDigests) {
    EXPECT_EQ(Md5Hex(""), "d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(Md5Hex("abc"), "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(Md5Hex("message digest"), "f96b697d7cb7938d525a2f31aaf161d0");
    EXPECT_EQ(Md5Hex("1234567890123456789012345678901234567890123456789012345678901234567890123"
                     "4567890"),
              "57edf4a22be3c955ac49da2e2107b67a");
    EXPECT_EQ(Md5Hex("{}"), kMd5OfBraces);
}

TEST(GatewayWire, UrlEncodeWritesBlanksAsPlusAndUpperCaseEscapes) {
    EXPECT_EQ(UrlEncode("a b"), "a+b");
    EXPECT_EQ(UrlEncode("a~b-c_d.e"), "a~b-c_d.e");
    EXPECT_EQ(UrlEncode("/"), "%2F");
    EXPECT_EQ(UrlEncode("\xE4"), "%E4");
    EXPECT_EQ(UrlEncode("{}"), "%7B%7D");
    EXPECT_EQ(UrlEncode(""), "");
}

TEST(GatewayWire, UrlDecodeReversesEncodingAndKeepsStrayPercent) {
    EXPECT_EQ(UrlDecode("a+b%2F%e4"), "a b/\xE4");
    EXPECT_EQ(UrlDecode("100%"), "100%");
    EXPECT_EQ(UrlDecode("%zz"), "%zz");
    EXPECT_EQ(UrlDecode(UrlEncode("k=v&x y\x01")), "k=v&x y\x01");
}

TEST(GatewayWire, Base64EncodesWithPadding) {
    EXPECT_EQ(Base64Encode("ABC"), "QUJD");
    EXPECT_EQ(Base64Encode("AB"), "QUI=");
    EXPECT_EQ(Base64Encode("A"), "QQ==");
    EXPECT_EQ(Base64Encode(""), "");
    EXPECT_EQ(Base64Encode("ABCDEF"), "QUJDREVG");
}

TEST(GatewayWire, FormFieldsAreFoundRawAndDecodedInBulk) {
    std::string value;
    EXPECT_TRUE(FindFormField("data=%7B%7D&x=1", "data", &value));
    EXPECT_EQ(value, "%7B%7D");
    EXPECT_TRUE(FindFormField("x=1&data=", "data", &value));
    EXPECT_EQ(value, "");
    EXPECT_FALSE(FindFormField("xdata=1", "data", &value));
    const auto form = DecodeForm("a=1&b=&c+d=e+f&a=2");
    EXPECT_EQ(form.at("a"), "2");
    EXPECT_EQ(form.at("b"), "");
    EXPECT_EQ(form.at("c d"), "e f");
}

TEST(GatewayWire, ParseRequestHeadKeepsLinesInOrderWithTheirCase) {
    ReceivedRequest request;
    ASSERT_TRUE(ParseRequestHead(
        "POST /gw/a/1.0/?&k=v HTTP/1.1\r\nHost:h\r\nx-utdid:\r\nX-Mixed:  Value \r\n\r\n",
        &request));
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.target, "/gw/a/1.0/?&k=v");
    EXPECT_EQ(request.path, "/gw/a/1.0/");
    EXPECT_EQ(request.query, "&k=v");
    EXPECT_EQ(request.httpVersion, "HTTP/1.1");
    EXPECT_EQ(request.headerLines,
              (std::vector<std::string>{"Host:h", "x-utdid:", "X-Mixed:  Value "}));
    EXPECT_TRUE(request.HasHeader("x-mixed"));
    EXPECT_EQ(request.Header("x-mixed"), "Value");
    EXPECT_TRUE(request.HasHeader("X-UTDID"));
    EXPECT_EQ(request.Header("x-utdid"), "");
    EXPECT_FALSE(request.HasHeader("x-sid"));
}

TEST(GatewayWire, TheJsonRoadInputHasTheExtensionAndTheRawFeaturesByte) {
    const test::HandComposedCall call = EveryField();
    const ReceivedRequest request = Parsed(call);
    GatewayCall gatewayCall;
    ASSERT_TRUE(ReadGatewayCall(request, &gatewayCall));
    EXPECT_EQ(gatewayCall.api, "a.b");
    EXPECT_EQ(gatewayCall.version, "1.0");
    EXPECT_EQ(gatewayCall.data, "{}");
    const std::string expected = std::string("u1&U9&rb&ak&") + kMd5OfBraces +
                                 "&1700000000&a.b&1.0&S9&tt&dv&30.1&120.2&ed&\x1b&&&ob&mk&rk&ac&od";
    EXPECT_EQ(RebuildSignInput(request, gatewayCall, true), expected);
    EXPECT_EQ(call.SignInput(true), expected);
}

TEST(GatewayWire, TheWideRoadInputLeavesTheExtensionOutUnlessIsvOpenApi) {
    test::HandComposedCall call = EveryField();
    call.wideRoad = true;
    ReceivedRequest request = Parsed(call);
    GatewayCall gatewayCall;
    ASSERT_TRUE(ReadGatewayCall(request, &gatewayCall));
    const std::string head =
        std::string("u1&U9&rb&ak&") + kMd5OfBraces + "&1700000000&a.b&1.0&S9&tt&dv&30.1&120.2&";
    EXPECT_EQ(RebuildSignInput(request, gatewayCall, false), head + "\x1b&&&ob&mk&rk&ac&od");

    call.extType = "isv_open_api";
    request = Parsed(call);
    EXPECT_EQ(RebuildSignInput(request, gatewayCall, false), head + "ed&\x1b&&&ob&mk&rk&ac&od");
}

TEST(GatewayWire, ALoneLatitudeOrNoFeaturesLeaveEmptyPlaces) {
    test::HandComposedCall call;
    call.api = "a.b";
    call.data = "{}";
    call.utdid = "";
    call.ttid = "";
    call.devId = "";
    call.appKey = "ak";
    call.timestamp = 5;
    call.lat = "30.1";
    const ReceivedRequest request = Parsed(call);
    EXPECT_FALSE(request.HasHeader("x-location"));
    GatewayCall gatewayCall;
    ASSERT_TRUE(ReadGatewayCall(request, &gatewayCall));
    EXPECT_EQ(RebuildSignInput(request, gatewayCall, true),
              std::string("&&&ak&") + kMd5OfBraces + "&5&a.b&1.0" + std::string(14, '&'));
}

TEST(GatewayWire, AGetCallCarriesItsDataInTheQueryBeforeTheParameters) {
    test::HandComposedCall call;
    call.get = true;
    call.data = "{\"q\":\"a b\"}";
    call.params = {{"z", "1"}, {"a", "2"}};
    EXPECT_EQ(call.Target(), "/gw/quil.test.echo/1.0/?data=%7B%22q%22%3A%22a+b%22%7D&a=2&z=1");
    const ReceivedRequest request = Parsed(call);
    GatewayCall gatewayCall;
    ASSERT_TRUE(ReadGatewayCall(request, &gatewayCall));
    EXPECT_EQ(gatewayCall.data, "{\"q\":\"a b\"}");
}

TEST(GatewayWire, APathThatIsNotApiAndVersionIsNoGatewayCall) {
    ReceivedRequest request;
    GatewayCall call;
    request.path = "/gw/a/";
    EXPECT_FALSE(ReadGatewayCall(request, &call));
    request.path = "/gw/a/1.0/x/";
    EXPECT_FALSE(ReadGatewayCall(request, &call));
    request.path = "/other/a/1.0/";
    EXPECT_FALSE(ReadGatewayCall(request, &call));
    request.path = "/gw/a/1.0";
    EXPECT_TRUE(ReadGatewayCall(request, &call));
}

TEST(GatewayWire, VerificationAcceptsBothRoadsAndRejectsATamperedInput) {
    test::HandComposedCall call = EveryField();
    ReceivedRequest request = Parsed(call);
    GatewayCall gatewayCall;
    ASSERT_TRUE(ReadGatewayCall(request, &gatewayCall));
    EXPECT_TRUE(VerifyGatewaySignature(request, gatewayCall, "").valid);
    EXPECT_TRUE(VerifyGatewaySignature(request, gatewayCall, "ak").valid);
    EXPECT_FALSE(VerifyGatewaySignature(request, gatewayCall, "other-key").valid);

    call.wideRoad = true;
    request = Parsed(call);
    EXPECT_TRUE(VerifyGatewaySignature(request, gatewayCall, "ak").valid);

    gatewayCall.data = "{ }";
    const SignVerdict tampered = VerifyGatewaySignature(request, gatewayCall, "ak");
    EXPECT_FALSE(tampered.valid);
    EXPECT_EQ(tampered.reason, "signature mismatch");
}

}  // namespace
}  // namespace quil
