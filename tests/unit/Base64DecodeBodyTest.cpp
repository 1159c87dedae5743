#include "Base64DecodeBody.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace {

std::shared_ptr<HttpResponse> WithBody(const std::string& body) {
    auto response = std::make_shared<HttpResponse>();
    response->body.assign(body.begin(), body.end());
    return response;
}

std::string Decode(const std::string& body) { return Base64DecodeBody(WithBody(body)); }

}  // namespace

TEST(Base64DecodeBody, NullResponseGivesEmptyString) { EXPECT_EQ(Base64DecodeBody(nullptr), ""); }

TEST(Base64DecodeBody, EmptyBodyGivesEmptyString) { EXPECT_EQ(Decode(""), ""); }

TEST(Base64DecodeBody, FullGroupDecodes) { EXPECT_EQ(Decode("QUJD"), "ABC"); }

TEST(Base64DecodeBody, OnePaddingCharacterGivesTwoBytes) { EXPECT_EQ(Decode("QUI="), "AB"); }

TEST(Base64DecodeBody, TwoPaddingCharactersGiveOneByte) { EXPECT_EQ(Decode("QQ=="), "A"); }

TEST(Base64DecodeBody, LineFeedBetweenGroupsIsSkipped) {
    EXPECT_EQ(Decode("QUJD\nREVG"), "ABCDEF");
}

TEST(Base64DecodeBody, DecodingStopsAtTheFirstPaddingCharacter) {
    EXPECT_EQ(Decode("QUI=QUJD"), "AB");
}

TEST(Base64DecodeBody, UnfinishedGroupAtTheEndIsDropped) { EXPECT_EQ(Decode("QUJDQQ"), "ABC"); }

TEST(Base64DecodeBody, CharactersOutsideTheAlphabetAreSkipped) {
    EXPECT_EQ(Decode("Q*U\r\nJ D"), "ABC");
}

TEST(Base64DecodeBody, BodyEndsAtItsFirstZeroByte) {
    EXPECT_EQ(Decode(std::string("QUJD\0REVG", 9)), "ABC");
}

TEST(Base64DecodeBody, ZeroByteEndsItsPieceAndTheRestOfTheGroupIsLost) {
    // "QQBC" decodes to 'A', 0, 'B': the piece ends at the zero, later groups go on.
    EXPECT_EQ(Decode("QQBCREVG"), "ADEF");
}

TEST(Base64DecodeBody, PlusAndSlashAreAlphabetCharacters) {
    // "+/+/" is 62, 63, 62, 63: bytes 0xFB 0xFF 0xBF.
    EXPECT_EQ(Decode("+/+/"), "\xFB\xFF\xBF");
}

TEST(Base64DecodeBody, TextJustBelow8192BytesDecodesWhole) {
    const std::string text(8191, 'x');
    // 8191 = 3 * 2730 + 1: "eHh4" per three bytes and "eA==" for the last one.
    std::string encoded;
    for (int i = 0; i < 2730; ++i) encoded += "eHh4";
    encoded += "eA==";
    EXPECT_EQ(Decode(encoded), text);
}

TEST(Base64DecodeBody, TextOf8192BytesOrMoreDecodesWholeWithoutOverflow) {
    std::string encoded;
    for (int i = 0; i < 3000; ++i) encoded += "eHh4";  // 9000 bytes of "x"
    EXPECT_EQ(Decode(encoded), std::string(9000, 'x'));
    std::string large;
    for (int i = 0; i < 100000; ++i) large += "QUJD";
    std::string expected;
    for (int i = 0; i < 100000; ++i) expected += "ABC";
    EXPECT_EQ(Decode(large), expected);
}
