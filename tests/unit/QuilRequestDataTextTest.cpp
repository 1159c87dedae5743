// The data text of a request is the styled JSON writer's layout without its line feeds, for
// every kind of member a request can hold.
#include <gtest/gtest.h>
#include <json/json.h>

#include <climits>
#include <memory>
#include <string>
#include <vector>

#include "QuilRequestImpl.h"

namespace {

std::unique_ptr<QuilRequestImpl> Make() {
    return std::unique_ptr<QuilRequestImpl>(
        dynamic_cast<QuilRequestImpl*>(QuilRequest::Create("mtop.test.api", "1.0")));
}

// What the styled writer gives for data, its line feeds dropped.
std::string StyledFlat(const Json::Value& data) {
    Json::StyledWriter writer;
    std::string flat;
    for (char c : writer.write(data)) {
        if (c != '\n') flat.push_back(c);
    }
    return flat;
}

std::vector<std::string> Texts() {
    std::vector<std::string> texts = {"",         "42",           "a b ",
                                      " lead",    "x=\"q\"&y=\\", "caf\xc3\xa9",
                                      "bad \xc3", "del\x7f",      std::string("nul\0in", 6)};
    for (int byte = 0; byte < 256; ++byte) texts.push_back(std::string(1, static_cast<char>(byte)));
    return texts;
}

TEST(QuilRequestDataText, TextMembersReadAsTheStyledWriterLaysThemOut) {
    for (const std::string& text : Texts()) {
        auto request = Make();
        request->AddData("k", text);
        EXPECT_EQ(request->GetData(), StyledFlat(request->data)) << text;
        request->AddData(text, std::string("v"));
        EXPECT_EQ(request->GetData(), StyledFlat(request->data)) << text;
    }
}

TEST(QuilRequestDataText, IntegerAndMixedMembersReadAsTheStyledWriterLaysThemOut) {
    auto request = Make();
    request->AddData("min", INT_MIN);
    request->AddData("max", INT_MAX);
    request->AddData("zero", 0);
    request->AddData("text", std::string("t"));
    EXPECT_EQ(request->GetData(), StyledFlat(request->data));
    EXPECT_EQ(request->GetData(),
              "{   \"max\" : 2147483647,   \"min\" : -2147483648,   \"text\" : \"t\",   "
              "\"zero\" : 0}");
    request->AddData("real", 1.5);
    EXPECT_EQ(request->GetData(), StyledFlat(request->data));
}

TEST(QuilRequestDataText, OtherKindsOfValueReadAsTheStyledWriterLaysThemOut) {
    auto request = Make();
    request->data["b"] = true;
    request->data["n"] = Json::Value();
    request->data["u"] = Json::Value(Json::UInt64(18446744073709551615ull));
    request->data["l"] = Json::Value(Json::Int64(-9223372036854775807ll - 1));
    EXPECT_EQ(request->GetData(), StyledFlat(request->data));
    request->data["o"]["inner"] = "x";
    request->data["a"].append(1);
    EXPECT_EQ(request->GetData(), StyledFlat(request->data));
    request->data["b"].setComment(std::string("// note"), Json::commentBefore);
    EXPECT_EQ(request->GetData(), StyledFlat(request->data));
}

}  // namespace
