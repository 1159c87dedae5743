#include "QuilRequestImpl.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "QuilConfig.h"
#include "RecordingLog.h"

using quil::test::ScopedRecordingLog;
using StringMap = std::map<std::string, std::string>;

namespace {

std::unique_ptr<QuilRequestImpl> Make(const std::string& api = "mtop.test.api",
                                      const std::string& version = "1.0") {
    QuilRequest* request = QuilRequest::Create(api, version);
    return std::unique_ptr<QuilRequestImpl>(dynamic_cast<QuilRequestImpl*>(request));
}

void CompletionA(QuilResponse*, void*) {}

}  // namespace

TEST(QuilRequest, CreateMakesARequestImplWithApiAndVersion) {
    auto request = Make("Api.Name", "V1");
    ASSERT_NE(request, nullptr);
    EXPECT_EQ(request->GetApi(), "Api.Name");
    EXPECT_EQ(request->GetVersion(), "V1");
}

TEST(QuilRequest, CreateAcceptsEmptyApiAndVersion) {
    auto request = Make("", "");
    ASSERT_NE(request, nullptr);
    EXPECT_EQ(request->GetApi(), "");
    EXPECT_EQ(request->GetVersion(), "");
}

TEST(QuilRequest, FieldsStartAtTheirInitialValues) {
    auto request = Make();
    EXPECT_FALSE(request->needLogin);
    EXPECT_EQ(request->method, 2);
    EXPECT_TRUE(request->data.isNull());
    EXPECT_EQ(request->rawData, "");
    EXPECT_TRUE(request->headers.empty());
    EXPECT_TRUE(request->params.empty());
    EXPECT_EQ(request->callback, nullptr);
    EXPECT_EQ(request->userData, nullptr);
    EXPECT_EQ(request->networkType, "");
    EXPECT_EQ(request->spareText, "");
    EXPECT_EQ(request->httpId, -1);
    EXPECT_FALSE(request->cancelled);
    EXPECT_EQ(request->id, -1);
    EXPECT_FALSE(request->isSSL);
    EXPECT_EQ(request->sign, "");
    EXPECT_TRUE(request->signHeaders.empty());
    EXPECT_EQ(request->timestamp, -1);
    EXPECT_EQ(request->reqBizExt, "");
    EXPECT_EQ(request->userInfo, "");
    EXPECT_EQ(request->domainMode, 1);
    EXPECT_EQ(request->openBiz, "");
    EXPECT_EQ(request->miniAppKey, "");
    EXPECT_EQ(request->reqAppKey, "");
    EXPECT_EQ(request->act, "");
    EXPECT_EQ(request->openBizData, "");
    EXPECT_EQ(request->miniAppIdTarvel, "");
    EXPECT_EQ(request->extData, "");
    EXPECT_EQ(request->extType, "");
    EXPECT_EQ(request->miniAppIdPelmay, "");
    EXPECT_EQ(request->retryTime, 0);
    EXPECT_EQ(request->isAsync, 0);
    EXPECT_EQ(request->signDirty, 0);
    EXPECT_FALSE(request->finished);
}

TEST(QuilRequest, GettersReportTheInitialValues) {
    auto request = Make();
    EXPECT_FALSE(request->GetNeedLogin());
    EXPECT_EQ(request->GetMethod(), 2);
    EXPECT_EQ(request->GetSign(), "");
    EXPECT_EQ(request->GetTimestamp(), -1);
    EXPECT_EQ(request->GetReqBizExt(), "");
    EXPECT_EQ(request->GetCallback(), nullptr);
    EXPECT_EQ(request->GetUserData(), nullptr);
    EXPECT_FALSE(request->IsCancelled());
    EXPECT_EQ(request->GetId(), -1);
    EXPECT_TRUE(request->GetHeaders().empty());
    EXPECT_EQ(request->GetDomainMode(), 1);
    EXPECT_TRUE(request->GetSignHeaders().empty());
}

TEST(QuilRequest, DomainModeIsTwoWhenDomainSettingIsNotOne) {
    QuilConfig::GetInstance()->domainSetting = 0;
    EXPECT_EQ(Make()->GetDomainMode(), 2);
    QuilConfig::GetInstance()->domainSetting = 3;
    EXPECT_EQ(Make()->GetDomainMode(), 2);
    QuilConfig::GetInstance()->domainSetting = 1;
    EXPECT_EQ(Make()->GetDomainMode(), 1);
}

TEST(QuilRequest, DomainModeIsReadAtCreationOnly) {
    auto request = Make();
    QuilConfig::GetInstance()->domainSetting = 5;
    EXPECT_EQ(request->GetDomainMode(), 1);
    QuilConfig::GetInstance()->domainSetting = 1;
}

TEST(QuilRequest, GetUserInfoOfANewRequestIsDefault) {
    auto request = Make();
    EXPECT_EQ(request->GetUserInfo(), "Default");
    EXPECT_EQ(request->userInfo, "");
}

TEST(QuilRequest, GetUserInfoReturnsTheAccountSet) {
    auto request = Make();
    request->SetUserInfo("alice");
    EXPECT_EQ(request->GetUserInfo(), "alice");
    request->SetUserInfo("");
    EXPECT_EQ(request->GetUserInfo(), "Default");
}

TEST(QuilRequest, GetDataOfANewRequestIsEmptyObject) { EXPECT_EQ(Make()->GetData(), "{}"); }

TEST(QuilRequest, GetDataAfterAddingAndRemovingTheSameKeyIsEmptyObject) {
    auto request = Make();
    request->AddData("a", std::string("b"));
    request->RemoveData("a");
    EXPECT_EQ(request->GetData(), "{}");
}

TEST(QuilRequest, GetDataOfOneStringMemberKeepsStyledBlanks) {
    auto request = Make();
    request->AddData("a", std::string("b"));
    EXPECT_EQ(request->GetData(), "{   \"a\" : \"b\"}");
}

TEST(QuilRequest, GetDataWritesMembersInKeyOrderWithIntAndReal) {
    auto request = Make();
    request->AddData("b", 7);
    request->AddData("a", 1.5);
    request->AddData("c", std::string("x y"));
    EXPECT_EQ(request->GetData(), "{   \"a\" : 1.5,   \"b\" : 7,   \"c\" : \"x y\"}");
}

TEST(QuilRequest, GetDataWritesAWholeRealWithItsFraction) {
    auto request = Make();
    request->AddData("r", 2.0);
    request->AddData("n", -3);
    EXPECT_EQ(request->GetData(), "{   \"n\" : -3,   \"r\" : 2.0}");
}

TEST(QuilRequest, GetDataRemovesOnlyLineFeeds) {
    auto request = Make();
    request->AddData("t", std::string("a\tb\rc"));
    EXPECT_EQ(request->GetData(), "{   \"t\" : \"a\\tb\\rc\"}");
}

TEST(QuilRequest, GetDataEscapesALineFeedInsideAValue) {
    auto request = Make();
    request->AddData("t", std::string("a\nb"));
    EXPECT_EQ(request->GetData(), "{   \"t\" : \"a\\nb\"}");
}

TEST(QuilRequest, AddDataOverwritesAMemberWithAnotherType) {
    auto request = Make();
    request->AddData("a", std::string("b"));
    request->AddData("a", 3);
    EXPECT_EQ(request->GetData(), "{   \"a\" : 3}");
}

TEST(QuilRequest, AddDataWithAStringLiteralStoresText) {
    auto request = Make();
    request->AddData("k", "v");
    EXPECT_EQ(request->GetData(), "{   \"k\" : \"v\"}");
}

TEST(QuilRequest, RemoveDataOfAnAbsentKeyChangesNothing) {
    auto request = Make();
    request->RemoveData("missing");
    EXPECT_EQ(request->GetData(), "{}");
    request->AddData("a", 1);
    request->RemoveData("missing");
    EXPECT_EQ(request->GetData(), "{   \"a\" : 1}");
}

TEST(QuilRequest, GetDataPrefersRawDataOverMembers) {
    auto request = Make();
    request->AddData("a", std::string("b"));
    request->SetRawData("{\"raw\":1}");
    EXPECT_EQ(request->GetData(), "{\"raw\":1}");
}

TEST(QuilRequest, GetDataReturnsRawDataAsItStands) {
    auto request = Make();
    request->SetRawData("not json\n at all");
    EXPECT_EQ(request->GetData(), "not json\n at all");
}

TEST(QuilRequest, EmptyRawDataBringsTheMembersBack) {
    auto request = Make();
    request->AddData("a", std::string("b"));
    request->SetRawData("{\"raw\":1}");
    request->SetRawData("");
    EXPECT_EQ(request->GetData(), "{   \"a\" : \"b\"}");
}

TEST(QuilRequest, GetKeyWithEmptyVersionIsEmptyAndLeavesApiCase) {
    auto request = Make("Mtop.Test.API", "");
    EXPECT_EQ(request->GetKey(), "");
    EXPECT_EQ(request->GetApi(), "Mtop.Test.API");
    EXPECT_EQ(request->api, "Mtop.Test.API");
}

TEST(QuilRequest, GetKeyWithEmptyApiIsEmptyAndLeavesVersionCase) {
    auto request = Make("", "V1.0");
    EXPECT_EQ(request->GetKey(), "");
    EXPECT_EQ(request->GetVersion(), "V1.0");
}

TEST(QuilRequest, GetKeyLowerCasesBothPartsInPlace) {
    auto request = Make("Mtop.Test.API", "V1.0");
    EXPECT_EQ(request->GetKey(), "mtop.test.api$v1.0");
    EXPECT_EQ(request->GetApi(), "mtop.test.api");
    EXPECT_EQ(request->GetVersion(), "v1.0");
}

TEST(QuilRequest, GetKeyLeavesBytesAboveAsciiAlone) {
    auto request = Make("A\xC3\x84pi", "1.0");
    EXPECT_EQ(request->GetKey(), "a\xC3\x84pi$1.0");
}

TEST(QuilRequest, GetLowerApiAndVersionLeaveTheFieldsAsTheyAre) {
    auto request = Make("Mtop.API", "V2");
    EXPECT_EQ(request->GetLowerApi(), "mtop.api");
    EXPECT_EQ(request->GetLowerVersion(), "v2");
    EXPECT_EQ(request->GetApi(), "Mtop.API");
    EXPECT_EQ(request->GetVersion(), "V2");
}

TEST(QuilRequest, GetLowerApiOfEmptyIsEmpty) {
    auto request = Make("", "");
    EXPECT_EQ(request->GetLowerApi(), "");
    EXPECT_EQ(request->GetLowerVersion(), "");
}

TEST(QuilRequest, SetHeadersTwiceMergesWithTheSecondWinning) {
    auto request = Make();
    request->SetHeaders({{"a", "1"}, {"b", "2"}});
    request->SetHeaders({{"b", "3"}, {"c", "4"}});
    EXPECT_EQ(request->GetHeaders(), (StringMap{{"a", "1"}, {"b", "3"}, {"c", "4"}}));
}

TEST(QuilRequest, AddHeaderSetsOneEntry) {
    auto request = Make();
    request->AddHeader("x", "1");
    request->AddHeader("x", "2");
    request->AddHeader("y", "3");
    EXPECT_EQ(request->GetHeaders(), (StringMap{{"x", "2"}, {"y", "3"}}));
}

TEST(QuilRequest, GetHeadersHandsOutACopy) {
    auto request = Make();
    request->AddHeader("x", "1");
    StringMap copy = request->GetHeaders();
    copy["x"] = "changed";
    EXPECT_EQ(request->GetHeaders().at("x"), "1");
}

TEST(QuilRequest, SetSignHeadersTwiceKeepsOnlyTheSecond) {
    auto request = Make();
    request->SetSignHeaders({{"x-sign", "a"}, {"x-mini-wua", "b"}});
    request->SetSignHeaders({{"x-sign", "c"}});
    EXPECT_EQ(request->GetSignHeaders(), (StringMap{{"x-sign", "c"}}));
}

TEST(QuilRequest, SetParamsTwiceMergesWithTheSecondWinning) {
    auto request = Make();
    request->SetParams({{"p", "1"}, {"q", "2"}});
    request->SetParams({{"q", "3"}});
    EXPECT_EQ(request->params, (StringMap{{"p", "1"}, {"q", "3"}}));
}

TEST(QuilRequest, AddParamAndRemoveParam) {
    auto request = Make();
    request->AddParam("p", "1");
    request->AddParam("q", "2");
    request->RemoveParam("p");
    EXPECT_EQ(request->params, (StringMap{{"q", "2"}}));
}

TEST(QuilRequest, RemoveParamOfAnAbsentKeyIsIgnored) {
    auto request = Make();
    request->AddParam("p", "1");
    request->RemoveParam("absent");
    EXPECT_EQ(request->params, (StringMap{{"p", "1"}}));
}

TEST(QuilRequest, MethodOneIsGetAndIsStoredAsGiven) {
    auto request = Make();
    request->SetMethod(1);
    EXPECT_EQ(request->GetMethod(), 1);
}

TEST(QuilRequest, MethodZeroOrAnyOtherValueIsStoredAsGivenAndMeansPost) {
    // Only 1 selects GET when the HTTP request is composed; the request keeps what it is given.
    auto request = Make();
    EXPECT_EQ(request->GetMethod(), 2);
    request->SetMethod(0);
    EXPECT_EQ(request->GetMethod(), 0);
    EXPECT_NE(request->method, 1);
    request->SetMethod(-5);
    EXPECT_EQ(request->GetMethod(), -5);
}

TEST(QuilRequest, SettersStoreTheirFields) {
    auto request = Make();
    int context = 0;
    request->SetNeedLogin(true);
    request->SetSign("sig");
    request->SetTimestamp(INT64_C(1700000000123));
    request->SetHttpId(9);
    request->SetNetworkType("wifi");
    request->SetIsSSL(true);
    request->SetReqBizExt("rbe");
    request->SetCallback(&CompletionA);
    request->SetUserData(&context);
    request->SetId(42);
    request->SetDomainMode(2);
    EXPECT_TRUE(request->GetNeedLogin());
    EXPECT_EQ(request->GetSign(), "sig");
    EXPECT_EQ(request->GetTimestamp(), INT64_C(1700000000123));
    EXPECT_EQ(request->httpId, 9);
    EXPECT_EQ(request->networkType, "wifi");
    EXPECT_TRUE(request->isSSL);
    EXPECT_EQ(request->GetReqBizExt(), "rbe");
    EXPECT_EQ(request->GetCallback(), &CompletionA);
    EXPECT_EQ(request->GetUserData(), &context);
    EXPECT_EQ(request->GetId(), 42);
    EXPECT_EQ(request->GetDomainMode(), 2);
}

TEST(QuilRequest, GatewayExtensionFieldsRoundTrip) {
    auto request = Make();
    request->SetOpenBiz("ob");
    request->SetMiniAppKey("mak");
    request->SetReqAppKey("rak");
    request->SetAct("act");
    request->SetOpenBizData("obd");
    request->SetMiniAppIdTarvel("tarvel");
    request->SetExtData("ed");
    request->SetExtType("et");
    request->SetMiniAppIdPelmay("pelmay");
    EXPECT_EQ(request->GetOpenBiz(), "ob");
    EXPECT_EQ(request->GetMiniAppKey(), "mak");
    EXPECT_EQ(request->GetReqAppKey(), "rak");
    EXPECT_EQ(request->GetAct(), "act");
    EXPECT_EQ(request->GetOpenBizData(), "obd");
    EXPECT_EQ(request->GetMiniAppIdTarvel(), "tarvel");
    EXPECT_EQ(request->GetExtData(), "ed");
    EXPECT_EQ(request->GetExtType(), "et");
    EXPECT_EQ(request->GetMiniAppIdPelmay(), "pelmay");
}

TEST(QuilRequest, IsCancelledReportsTheCancelledMark) {
    auto request = Make();
    request->cancelled = true;
    EXPECT_TRUE(request->IsCancelled());
}

TEST(QuilRequest, DestructorLogsItsIdAtInfo) {
    ScopedRecordingLog log;
    auto request = Make();
    request->SetId(17);
    request.reset();
    ASSERT_EQ(log->Count(), 1u) << ::testing::PrintToString(log->Messages());
    quil::test::LogLine line = log->Lines()[0];
    EXPECT_EQ(line.message, "destory QuilRequestImpl, id: 17");
    EXPECT_EQ(line.level, QUIL_LOG_INFO);
    EXPECT_EQ(line.file, "QuilRequestImpl.cpp");
}

TEST(QuilRequest, DestructorOfARequestWithoutIdLogsMinusOne) {
    ScopedRecordingLog log;
    Make().reset();
    EXPECT_TRUE(log->Has("destory QuilRequestImpl, id: -1", QUIL_LOG_INFO));
}

TEST(QuilRequest, DestructorLeavesUserDataAlone) {
    // The host's pointer is only carried: deleting the request must not free or touch it.
    auto context = std::make_unique<std::string>("host state");
    auto request = Make();
    request->SetUserData(context.get());
    request->SetCallback(&CompletionA);
    request.reset();
    EXPECT_EQ(*context, "host state");
}

#if defined(__GNUC__) && !defined(_WIN32)
namespace {

// Under the Itanium C++ ABI a pointer to a virtual member holds its table offset plus one.
template <typename Member>
std::ptrdiff_t SlotOf(Member member) {
    struct Raw {
        std::ptrdiff_t pointer;
        std::ptrdiff_t adjust;
    } raw;
    static_assert(sizeof(member) == sizeof(raw), "Itanium member pointer layout");
    std::memcpy(&raw, &member, sizeof(raw));
    return (raw.pointer - 1) / static_cast<std::ptrdiff_t>(sizeof(void*));
}

}  // namespace

TEST(QuilRequest, VirtualOperationsKeepTheHostsTableOrder) {
    using R = QuilRequest;
    using S = std::string;
    std::vector<std::ptrdiff_t> slots = {
        SlotOf(&R::SetNeedLogin),
        SlotOf(&R::GetNeedLogin),
        SlotOf(&R::SetMethod),
        SlotOf(&R::GetMethod),
        SlotOf(&R::SetSign),
        SlotOf(&R::GetSign),
        SlotOf(&R::SetTimestamp),
        SlotOf(&R::GetTimestamp),
        SlotOf(&R::SetHttpId),
        SlotOf(&R::SetNetworkType),
        SlotOf(&R::SetIsSSL),
        SlotOf(&R::SetReqBizExt),
        SlotOf(&R::GetReqBizExt),
        SlotOf(&R::GetApi),
        SlotOf(&R::GetVersion),
        SlotOf(&R::SetHeaders),
        SlotOf(&R::AddHeader),
        SlotOf(static_cast<void (R::*)(S, double)>(&R::AddData)),
        SlotOf(&R::SetRawData),
        SlotOf(static_cast<void (R::*)(S, int)>(&R::AddData)),
        SlotOf(static_cast<void (R::*)(S, S)>(&R::AddData)),
        SlotOf(&R::RemoveData),
        SlotOf(&R::SetParams),
        SlotOf(&R::AddParam),
        SlotOf(&R::RemoveParam),
        SlotOf(&R::SetCallback),
        SlotOf(&R::GetCallback),
        SlotOf(&R::SetUserData),
        SlotOf(&R::GetUserData),
        SlotOf(&R::IsCancelled),
        SlotOf(&R::GetId),
        SlotOf(&R::SetId),
        SlotOf(&R::GetData),
        SlotOf(&R::GetKey),
        SlotOf(&R::GetHeaders),
        SlotOf(&R::SetUserInfo),
        SlotOf(&R::GetUserInfo),
        SlotOf(&R::SetDomainMode),
        SlotOf(&R::GetDomainMode),
        SlotOf(&R::SetOpenBiz),
        SlotOf(&R::GetOpenBiz),
        SlotOf(&R::SetMiniAppKey),
        SlotOf(&R::GetMiniAppKey),
        SlotOf(&R::SetReqAppKey),
        SlotOf(&R::GetReqAppKey),
        SlotOf(&R::SetAct),
        SlotOf(&R::GetAct),
        SlotOf(&R::SetOpenBizData),
        SlotOf(&R::GetOpenBizData),
        SlotOf(&R::SetMiniAppIdTarvel),
        SlotOf(&R::GetMiniAppIdTarvel),
        SlotOf(&R::SetExtData),
        SlotOf(&R::GetExtData),
        SlotOf(&R::SetExtType),
        SlotOf(&R::GetExtType),
        SlotOf(&R::SetMiniAppIdPelmay),
        SlotOf(&R::GetMiniAppIdPelmay),
    };
    for (std::size_t i = 0; i < slots.size(); ++i) {
        EXPECT_EQ(slots[i], static_cast<std::ptrdiff_t>(i)) << "operation number " << i;
    }
    // The implementation's own operations follow, the destructor (two entries) first.
    const std::ptrdiff_t next = static_cast<std::ptrdiff_t>(slots.size());
    EXPECT_EQ(SlotOf(&QuilRequestImpl::SetSignHeaders), next + 2);
    EXPECT_EQ(SlotOf(&QuilRequestImpl::GetSignHeaders), next + 3);
    EXPECT_EQ(SlotOf(&QuilRequestImpl::GetLowerApi), next + 4);
    EXPECT_EQ(SlotOf(&QuilRequestImpl::GetLowerVersion), next + 5);
}
#endif
