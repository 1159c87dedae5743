#include "FilterManager.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "FakeCookieStorage.h"
#include "MetricsEntity.h"
#include "QuilConfig.h"
#include "QuilRequestImpl.h"
#include "QuilResponseImpl.h"
#include "RecordingLog.h"
#include "RecordingOmbrelHandler.h"
#include "ScriptedFilters.h"
#include "SecurityKolvaAfterFilter.h"
#include "UTDataSet.h"

using quil::test::FilterTrace;
using quil::test::LogLine;
using quil::test::RecordingOmbrelHandler;
using quil::test::ScopedRecordingLog;
using quil::test::ScriptedAfterFilter;
using quil::test::ScriptedBeforeFilter;

namespace {

const std::vector<std::string> kBeforeNames = {"b_ut", "b_setup_request", "b_login", "b_cache",
                                               "b_threshold"};
const std::vector<std::string> kAfterNames = {
    "a_time_calibration", "a_security_kolva",    "a_login", "a_cache", "a_dynamic_api_config",
    "a_error_handle",     "a_errorcode_mapping", "a_ut"};

// A request with an id and an open metrics entity, as the pipeline hands it to the chains.
std::unique_ptr<QuilRequestImpl> MakeRequest(int id) {
    std::unique_ptr<QuilRequestImpl> request(new QuilRequestImpl("mtop.test.api", "1.0"));
    request->SetId(id);
    UTDataSet::GetInstance()->CreateMetricsEntity(request.get());
    return request;
}

std::unique_ptr<QuilResponseImpl> MakeResponse() {
    std::unique_ptr<QuilResponseImpl> response(new QuilResponseImpl());
    response->retInfo.reset(new RetInfo());
    response->statusCode = 200;
    return response;
}

// A manager over five scripted before filters bearing the fixed names, and eight after ones.
struct ScriptedChains {
    FilterTrace trace;
    std::vector<ScriptedBeforeFilter*> before;
    std::vector<ScriptedAfterFilter*> after;
    std::unique_ptr<FilterManager> manager;

    ScriptedChains(const std::string& stopBefore = "", const std::string& stopAfter = "") {
        FilterManager::BeforeChain beforeChain;
        for (const std::string& name : kBeforeNames) {
            ScriptedBeforeFilter::Action action;
            if (name == stopBefore) {
                action = [](QuilRequest*, FilterResult* result) { result->code = 1; };
            }
            before.push_back(new ScriptedBeforeFilter(name, &trace, action));
            beforeChain.emplace_back(before.back());
        }
        FilterManager::AfterChain afterChain;
        for (const std::string& name : kAfterNames) {
            ScriptedAfterFilter::Action action;
            if (name == stopAfter) {
                action = [](QuilRequest*, QuilResponse*, FilterResult* result) {
                    result->code = 1;
                };
            }
            after.push_back(new ScriptedAfterFilter(name, &trace, action));
            afterChain.emplace_back(after.back());
        }
        manager.reset(new FilterManager(std::move(beforeChain), std::move(afterChain)));
    }
};

}  // namespace

TEST(FilterManager, FixedChainsHoldTheirFiltersAtTheirPositions) {
    FilterManager* manager = FilterManager::GetInstance();
    ASSERT_EQ(manager, FilterManager::GetInstance());
    // Every position by name; a position whose filter is not built yet reads "".
    const std::vector<std::string> expectedBefore = {"b_ut", "b_setup_request", "b_login",
                                                     "b_cache", "b_threshold"};
    const std::vector<std::string> expectedAfter = {
        "", "a_security_kolva",    "a_login", "a_cache", "a_dynamic_api_config",
        "", "a_errorcode_mapping", "a_ut"};
    EXPECT_EQ(manager->BeforeFilterNames(), expectedBefore);
    EXPECT_EQ(manager->AfterFilterNames(), expectedAfter);
}

TEST(FilterManager, TheTrafficFilterBecomesTheCookieStorageWhenTheHostHasNone) {
    ASSERT_EQ(QuilConfig::GetInstance()->cookieStorage.load(), nullptr);
    FilterManager::GetInstance();
    IQuilCookieStorage* storage = QuilConfig::GetInstance()->cookieStorage.load();
    ASSERT_NE(storage, nullptr);
    EXPECT_NE(dynamic_cast<SecurityKolvaAfterFilter*>(storage), nullptr);
}

TEST(FilterManager, ACookieStorageTheHostRegisteredEarlierStaysInPlace) {
    quil::test::FakeCookieStorage host("a=b");
    QuilConfig::GetInstance()->RegisterCookieStorage(&host);
    FilterManager::GetInstance();
    EXPECT_EQ(QuilConfig::GetInstance()->cookieStorage.load(), &host);
}

TEST(FilterManager, ACookieStorageTheHostRegistersLaterReplacesTheDefault) {
    FilterManager::GetInstance();
    quil::test::FakeCookieStorage host("a=b");
    QuilConfig::GetInstance()->RegisterCookieStorage(&host);
    EXPECT_EQ(QuilConfig::GetInstance()->cookieStorage.load(), &host);
}

TEST(FilterManager, DoBeforeRunsEveryFilterInOrderAndReturnsCodeZero) {
    ScriptedChains chains;
    auto request = MakeRequest(3);
    std::unique_ptr<FilterResult> result(chains.manager->DoBefore(request.get(), nullptr));
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->code, 0);
    EXPECT_EQ(chains.trace.Names(), kBeforeNames);
}

TEST(FilterManager, TheFirstFilterThatStopsEndsTheBeforeChain) {
    ScopedRecordingLog log;
    ScriptedChains chains("b_login");
    auto request = MakeRequest(4);
    std::unique_ptr<FilterResult> result(chains.manager->DoBefore(request.get(), nullptr));
    EXPECT_EQ(result->code, 1);
    EXPECT_EQ(chains.trace.Names(),
              (std::vector<std::string>{"b_ut", "b_setup_request", "b_login"}));
    EXPECT_TRUE(log->Has("request: 4 interupt at before filter: b_login", QUIL_LOG_WARN));
}

TEST(FilterManager, ResumeAtSetupRequestSkipsOnlyTheFirstFilter) {
    ScopedRecordingLog log;
    ScriptedChains chains;
    auto request = MakeRequest(5);
    std::unique_ptr<FilterResult> result(
        chains.manager->DoBefore(request.get(), "b_setup_request"));
    EXPECT_EQ(result->code, 0);
    EXPECT_EQ(chains.trace.Names(),
              (std::vector<std::string>{"b_setup_request", "b_login", "b_cache", "b_threshold"}));
    EXPECT_EQ(log->FindPrefix("request: 5 skip").message, "request: 5 skip before filter: b_ut");
    EXPECT_EQ(log->Find("request: 5 skip before filter: b_ut").level, QUIL_LOG_WARN);
    EXPECT_EQ(log->CountOf("request: 5 skip before filter: b_ut"), 1u);
    std::size_t skipLines = 0;
    for (const std::string& message : log->Messages()) {
        if (message.find("skip before filter") != std::string::npos) ++skipLines;
    }
    EXPECT_EQ(skipLines, 1u);
}

TEST(FilterManager, ResumeAtANameNoFilterBearsSkipsTheWholeChain) {
    ScopedRecordingLog log;
    ScriptedChains chains;
    auto request = MakeRequest(6);
    std::unique_ptr<FilterResult> result(chains.manager->DoBefore(request.get(), "b_nowhere"));
    EXPECT_EQ(result->code, 0);
    EXPECT_TRUE(chains.trace.Names().empty());
    std::vector<std::string> skips;
    for (const std::string& message : log->Messages()) {
        if (message.find("skip before filter") != std::string::npos) skips.push_back(message);
    }
    ASSERT_EQ(skips.size(), 5u);
    for (std::size_t i = 0; i < kBeforeNames.size(); ++i) {
        EXPECT_EQ(skips[i], "request: 6 skip before filter: " + kBeforeNames[i]);
    }
}

TEST(FilterManager, SkippingEndsAtTheFirstMatchAndNeverStartsAgain) {
    FilterTrace trace;
    FilterManager::BeforeChain chain;
    chain.emplace_back(new ScriptedBeforeFilter("b_one", &trace));
    chain.emplace_back(new ScriptedBeforeFilter("b_two", &trace));
    chain.emplace_back(new ScriptedBeforeFilter("b_one", &trace));
    FilterManager manager(std::move(chain), FilterManager::AfterChain());
    auto request = MakeRequest(7);
    std::unique_ptr<FilterResult> result(manager.DoBefore(request.get(), "b_two"));
    EXPECT_EQ(trace.Names(), (std::vector<std::string>{"b_two", "b_one"}));
}

TEST(FilterManager, EmptySlotsArePassedOver) {
    ScopedRecordingLog log;
    FilterTrace trace;
    FilterManager::BeforeChain before;
    before.emplace_back(nullptr);
    before.emplace_back(new ScriptedBeforeFilter("b_two", &trace));
    FilterManager::AfterChain after;
    after.emplace_back(nullptr);
    after.emplace_back(new ScriptedAfterFilter("a_two", &trace));
    FilterManager manager(std::move(before), std::move(after));
    auto request = MakeRequest(8);
    auto response = MakeResponse();
    std::unique_ptr<FilterResult> first(manager.DoBefore(request.get(), "b_missing"));
    EXPECT_EQ(log->CountOf("request: 8 skip before filter: b_two"), 1u);
    std::unique_ptr<FilterResult> second(manager.DoAfter(request.get(), response.get()));
    EXPECT_EQ(trace.Names(), (std::vector<std::string>{"a_two"}));
}

TEST(FilterManager, DoAfterRunsTheWholeChainInOrder) {
    ScriptedChains chains;
    auto request = MakeRequest(9);
    auto response = MakeResponse();
    std::unique_ptr<FilterResult> result(chains.manager->DoAfter(request.get(), response.get()));
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->code, 0);
    EXPECT_EQ(chains.trace.Names(), kAfterNames);
}

TEST(FilterManager, AStopAtLoginKeepsTheLaterAfterFiltersFromRunning) {
    ScopedRecordingLog log;
    ScriptedChains chains("", "a_login");
    auto request = MakeRequest(10);
    auto response = MakeResponse();
    std::unique_ptr<FilterResult> result(chains.manager->DoAfter(request.get(), response.get()));
    EXPECT_EQ(result->code, 1);
    EXPECT_EQ(chains.trace.Names(),
              (std::vector<std::string>{"a_time_calibration", "a_security_kolva", "a_login"}));
    EXPECT_EQ(chains.after[5]->Runs(), 0);  // "a_error_handle"
    EXPECT_EQ(chains.after[7]->Runs(), 0);  // "a_ut"
    EXPECT_TRUE(log->Has("request: 10 interupt at after filter: a_login", QUIL_LOG_WARN));
}

TEST(FilterManager, DoAfterWithANullArgumentReturnsNullAndRunsNothing) {
    ScriptedChains chains;
    auto request = MakeRequest(11);
    auto response = MakeResponse();
    EXPECT_EQ(chains.manager->DoAfter(request.get(), nullptr), nullptr);
    EXPECT_EQ(chains.manager->DoAfter(nullptr, response.get()), nullptr);
    EXPECT_TRUE(chains.trace.Names().empty());
}

TEST(FilterManager, TheFirstAfterFilterGetsAZeroedResultWhateverTheBeforeChainLeft) {
    FilterTrace trace;
    auto stored = MakeResponse();
    // Any non-null address stands for a cache record; it is never read.
    ResponseSource* fakeSource = reinterpret_cast<ResponseSource*>(&trace);
    FilterManager::BeforeChain before;
    before.emplace_back(
        new ScriptedBeforeFilter("b_all", &trace, [&](QuilRequest*, FilterResult* result) {
            result->responseSource = fakeSource;
            result->waiting = true;
            result->response = stored.get();
            result->code = 1;
        }));
    FilterManager::AfterChain after;
    ScriptedAfterFilter* first = new ScriptedAfterFilter("a_first", &trace);
    after.emplace_back(first);
    FilterManager manager(std::move(before), std::move(after));
    auto request = MakeRequest(12);
    auto response = MakeResponse();

    std::unique_ptr<FilterResult> beforeResult(manager.DoBefore(request.get(), nullptr));
    ASSERT_EQ(beforeResult->code, 1);
    std::unique_ptr<FilterResult> afterResult(manager.DoAfter(request.get(), response.get()));
    FilterResult seen = first->Seen();
    EXPECT_EQ(seen.code, 0);
    EXPECT_EQ(seen.response, nullptr);
    EXPECT_EQ(seen.responseSource, nullptr);
    EXPECT_FALSE(seen.waiting);
    EXPECT_NE(afterResult.get(), beforeResult.get());
}

TEST(FilterManager, WithoutAHandlerNoOmbrelHeaderNoLogAndNoInterceptMarks) {
    ScopedRecordingLog log;
    ScriptedChains chains;
    auto request = MakeRequest(13);
    auto response = MakeResponse();
    response->headers["a-ombrel-p"] = "value";
    std::unique_ptr<FilterResult> first(chains.manager->DoBefore(request.get(), nullptr));
    std::unique_ptr<FilterResult> second(chains.manager->DoAfter(request.get(), response.get()));
    EXPECT_EQ(request->headers.count("a-ombrel-q"), 0u);
    EXPECT_FALSE(log->Has("request do before add Ombrel header"));
    EXPECT_FALSE(log->Has("response do after notify Ombrel"));
    MetricsEntity* entity = UTDataSet::GetInstance()->GetExistMetricsEntity(request.get());
    EXPECT_EQ(entity->interceptRequestStartTime, -1.0);
    EXPECT_EQ(entity->interceptRequestEndTime, -1.0);
    EXPECT_EQ(entity->interceptResponseStartTime, -1.0);
    EXPECT_EQ(entity->interceptResponseEndTime, -1.0);
}

TEST(FilterManager, AHandlerAddsItsQueryTextAsOmbrelHeaderAndTakesItBack) {
    ScopedRecordingLog log;
    ScriptedChains chains;
    RecordingOmbrelHandler handler("q=1; a b");
    chains.manager->SetOmbrelHandler(&handler);
    auto request = MakeRequest(14);
    std::unique_ptr<FilterResult> result(chains.manager->DoBefore(request.get(), nullptr));
    EXPECT_EQ(request->headers["a-ombrel-q"], "q=1; a b");
    ASSERT_EQ(handler.HandedOut().size(), 1u);
    EXPECT_EQ(handler.Released(), handler.HandedOut());
    LogLine line = log->Find("request do before add Ombrel header");
    EXPECT_EQ(line.level, QUIL_LOG_INFO);
    EXPECT_EQ(line.function, "DoBefore");
    MetricsEntity* entity = UTDataSet::GetInstance()->GetExistMetricsEntity(request.get());
    EXPECT_GE(entity->interceptRequestStartTime, 0.0);
    EXPECT_GE(entity->interceptRequestEndTime, entity->interceptRequestStartTime);
    EXPECT_EQ(chains.manager->ClearOmbrelHandler(), &handler);
}

TEST(FilterManager, AResponseWithoutOmbrelHeaderStillLogsButIsNotHandedOn) {
    ScopedRecordingLog log;
    ScriptedChains chains;
    RecordingOmbrelHandler handler;
    chains.manager->SetOmbrelHandler(&handler);
    auto request = MakeRequest(15);
    auto response = MakeResponse();
    response->headers["A-Ombrel-P"] = "other case";
    std::unique_ptr<FilterResult> result(chains.manager->DoAfter(request.get(), response.get()));
    LogLine line = log->Find("response do after notify Ombrel");
    EXPECT_EQ(line.level, QUIL_LOG_INFO);
    EXPECT_EQ(line.function, "DoAfter");
    EXPECT_TRUE(handler.ResponseValues().empty());
    MetricsEntity* entity = UTDataSet::GetInstance()->GetExistMetricsEntity(request.get());
    EXPECT_EQ(entity->interceptResponseStartTime, -1.0);
    EXPECT_EQ(entity->interceptResponseEndTime, -1.0);
    chains.manager->ClearOmbrelHandler();
}

TEST(FilterManager, AResponseOmbrelHeaderIsHandedToTheHandlerWithItsMarks) {
    ScriptedChains chains;
    RecordingOmbrelHandler handler;
    chains.manager->SetOmbrelHandler(&handler);
    auto request = MakeRequest(16);
    auto response = MakeResponse();
    response->headers["a-ombrel-p"] = "p-value: 2";
    std::unique_ptr<FilterResult> result(chains.manager->DoAfter(request.get(), response.get()));
    EXPECT_EQ(handler.ResponseValues(), (std::vector<std::string>{"p-value: 2"}));
    MetricsEntity* entity = UTDataSet::GetInstance()->GetExistMetricsEntity(request.get());
    EXPECT_GE(entity->interceptResponseStartTime, 0.0);
    EXPECT_GE(entity->interceptResponseEndTime, entity->interceptResponseStartTime);
    chains.manager->ClearOmbrelHandler();
}

TEST(FilterManager, ClearReturnsTheHandlerThatWasSetThenNull) {
    ScriptedChains chains;
    RecordingOmbrelHandler handler;
    EXPECT_EQ(chains.manager->ClearOmbrelHandler(), nullptr);
    chains.manager->SetOmbrelHandler(&handler);
    EXPECT_EQ(chains.manager->ClearOmbrelHandler(), &handler);
    EXPECT_EQ(chains.manager->ClearOmbrelHandler(), nullptr);
    auto request = MakeRequest(17);
    std::unique_ptr<FilterResult> result(chains.manager->DoBefore(request.get(), nullptr));
    EXPECT_TRUE(handler.HandedOut().empty());
}

namespace {
class NullQueryHandler : public IOmbrelHeaderHandler {
public:
    const char* GetQueryHeader() override { return nullptr; }
    void OnResponseHeader(const char*) override {}
    void ReleaseQueryHeader(const char*) override { ++released; }
    int released = 0;
};
}  // namespace

TEST(FilterManager, ANullQueryTextCountsAsEmptyAndIsNotHandedBack) {
    ScriptedChains chains;
    NullQueryHandler handler;
    chains.manager->SetOmbrelHandler(&handler);
    auto request = MakeRequest(18);
    std::unique_ptr<FilterResult> result(chains.manager->DoBefore(request.get(), nullptr));
    ASSERT_EQ(request->headers.count("a-ombrel-q"), 1u);
    EXPECT_EQ(request->headers["a-ombrel-q"], "");
    EXPECT_EQ(handler.released, 0);
    chains.manager->ClearOmbrelHandler();
}
