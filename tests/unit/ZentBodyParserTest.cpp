#include "ZentBodyParser.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using Outcome = ZentBodyParser::Outcome;

namespace {

Outcome Parse(const std::string& text, ZentInfo* info, const std::string& domain = "d.example") {
    return ZentBodyParser::Parse(text, domain, info);
}

}  // namespace

TEST(ZentBodyParser, TheFirstElementNamingTheDomainGivesItsAddressesInOrder) {
    ZentInfo info;
    ASSERT_EQ(Parse("{\"dns\":[{\"host\":\"x.example\",\"ips\":[\"9.9.9.9\"]},"
                    "{\"host\":\"d.example\",\"ips\":[\"1.1.1.1\",\"2.2.2.2\"]},"
                    "{\"host\":\"d.example\",\"ips\":[\"3.3.3.3\"]}]}",
                    &info),
              Outcome::kParsed);
    EXPECT_EQ(info.ips, (std::vector<std::string>{"1.1.1.1", "2.2.2.2"}));
    EXPECT_TRUE(info.valid);
}

TEST(ZentBodyParser, AHostMatchesOnlyInFullLengthAndBytes) {
    ZentInfo info;
    ASSERT_EQ(Parse("{\"dns\":[{\"host\":\"d.example.\",\"ips\":[\"1\"]},"
                    "{\"host\":\"D.example\",\"ips\":[\"2\"]}]}",
                    &info),
              Outcome::kParsed);
    EXPECT_TRUE(info.ips.empty());
    EXPECT_FALSE(info.valid);
}

TEST(ZentBodyParser, AnAnswerNamingOnlyOtherHostsOrNoneParsesToASpentStrategy) {
    for (const char* text : {"{\"dns\":[{\"host\":\"x\",\"ips\":[\"1\"]}]}", "{\"dns\":[]}", "{}",
                             "{\"dns\":{}}", "{\"dns\":\"text\"}", "[1,2]", "\"text\"",
                             "{\"dns\":[{\"host\":\"d.example\",\"ips\":[]}]}",
                             "{\"dns\":[{\"host\":\"d.example\"}]}"}) {
        ZentInfo info;
        info.ips = {"left over"};
        info.valid = true;
        ASSERT_EQ(Parse(text, &info), Outcome::kParsed) << text;
        EXPECT_TRUE(info.ips.empty()) << text;
        EXPECT_FALSE(info.valid) << text;
    }
}

TEST(ZentBodyParser, TextThatIsNotJsonIsRefused) {
    for (const char* text : {"", "not json", "{\"dns\":[", "{\"dns\":[}]}"}) {
        ZentInfo info;
        info.ips = {"kept"};
        EXPECT_EQ(Parse(text, &info), Outcome::kRefused) << text;
        EXPECT_EQ(info.ips, std::vector<std::string>{"kept"}) << text;
    }
}

TEST(ZentBodyParser, AnAddressThatIsNotTextIsRefusedWithoutAnException) {
    for (const char* text : {"{\"dns\":[{\"host\":\"d.example\",\"ips\":[\"1\",[2]]}]}",
                             "{\"dns\":[{\"host\":\"d.example\",\"ips\":[{\"a\":1}]}]}",
                             "{\"dns\":[{\"host\":\"d.example\",\"ips\":[3]}]}",
                             "{\"dns\":[{\"host\":\"d.example\",\"ips\":[null]}]}",
                             "{\"dns\":[{\"host\":\"d.example\",\"ips\":\"1.1.1.1\"}]}",
                             "{\"dns\":[{\"host\":\"d.example\",\"ips\":{\"a\":\"1\"}}]}"}) {
        ZentInfo info;
        EXPECT_EQ(Parse(text, &info), Outcome::kRefused) << text;
    }
}

TEST(ZentBodyParser, AnElementThatIsNotAnObjectIsRefusedWithoutAnException) {
    for (const char* text : {"{\"dns\":[\"d.example\"]}", "{\"dns\":[[\"host\"]]}",
                             "{\"dns\":[7,{\"host\":\"d.example\",\"ips\":[\"1\"]}]}"}) {
        ZentInfo info;
        EXPECT_EQ(Parse(text, &info), Outcome::kRefused) << text;
    }
}

TEST(ZentBodyParser, WhatFollowsTheFirstMatchIsNotLookedAt) {
    ZentInfo info;
    ASSERT_EQ(Parse("{\"dns\":[{\"host\":\"d.example\",\"ips\":[\"1\"]},7,[{}]]}", &info),
              Outcome::kParsed);
    EXPECT_EQ(info.ips, std::vector<std::string>{"1"});
}

TEST(ZentBodyParser, AHostThatIsNotTextNamesNothing) {
    ZentInfo info;
    ASSERT_EQ(Parse("{\"dns\":[{\"host\":[\"d.example\"],\"ips\":[\"1\"]},"
                    "{\"host\":5,\"ips\":[\"2\"]}]}",
                    &info, "5"),
              Outcome::kParsed);
    EXPECT_TRUE(info.ips.empty());
}

TEST(ZentBodyParser, NestingBeyondTheReadersDepthIsRefusedWithoutAnException) {
    const std::string deep = std::string(5000, '[') + std::string(5000, ']');
    ZentInfo info;
    EXPECT_EQ(Parse(deep, &info), Outcome::kRefused);
}
