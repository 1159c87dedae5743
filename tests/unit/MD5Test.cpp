#include "MD5.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace {

std::string Digest(const std::string& message) {
    MD5 md5;
    md5.Update(message.data(), message.size());
    return md5.ToHexString();
}

}  // namespace

TEST(MD5, EmptyMessageGivesThePublishedDigest) {
    MD5 md5;
    EXPECT_EQ(md5.ToHexString(), "d41d8cd98f00b204e9800998ecf8427e");
}

TEST(MD5, RfcAppendixVectors) {
    EXPECT_EQ(Digest(""), "d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(Digest("a"), "0cc175b9c0f1b6a831c399e269772661");
    EXPECT_EQ(Digest("abc"), "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(Digest("message digest"), "f96b697d7cb7938d525a2f31aaf161d0");
    EXPECT_EQ(Digest("abcdefghijklmnopqrstuvwxyz"), "c3fcd3d76192e4007dfb496cca67e13b");
    EXPECT_EQ(Digest("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789"),
              "d174ab98d277d9f5a5611c2c9f419d9f");
    EXPECT_EQ(Digest("1234567890123456789012345678901234567890123456789012345678901234567890123456"
                     "7890"),
              "57edf4a22be3c955ac49da2e2107b67a");
}

TEST(MD5, OneMegabyteMessageInOneUpdate) {
    std::string message(1 << 20, '\0');
    for (std::size_t i = 0; i < message.size(); ++i) message[i] = static_cast<char>(i % 251);
    EXPECT_EQ(Digest(message), "8f293a2f6c19b345152f7a49bb4c643c");
}

TEST(MD5, MessageFedInPiecesGivesTheSameDigest) {
    MD5 md5;
    const std::string piece(1000, 'a');
    for (int i = 0; i < 1000; ++i) md5.Update(piece.data(), piece.size());
    EXPECT_EQ(md5.ToHexString(), "7707d6ae4e027c70eea2a935c2296f21");
}

TEST(MD5, SecondReadEqualsTheFirstWhenTheTailIsShorterThan56Bytes) {
    MD5 md5;
    md5.Update("abc", 3);
    EXPECT_EQ(md5.ToHexString(), "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(md5.ToHexString(), "900150983cd24fb0d6963f7d28e17f72");
}

TEST(MD5, SecondReadSeesThePaddingWhenTheTailIs56BytesOrMore) {
    // Each read finalises anew from the restored state and count, but the first padding has
    // overwritten the unprocessed tail: the second read digests 56 zero bytes and the first
    // bytes of the bit count in its place.
    MD5 md5;
    const std::string message(60, 'a');
    md5.Update(message.data(), message.size());
    EXPECT_EQ(md5.ToHexString(), "cc7ed669cf88f201c3297c6a91e1d18d");
    EXPECT_EQ(md5.ToHexString(), "3582aa3c387e537703e04d9567475bc4");

    MD5 longer;
    const std::string message124(124, 'a');
    longer.Update(message124.data(), message124.size());
    EXPECT_EQ(longer.ToHexString(), "5e4a3ecfdaa4636b84a39b6a7be7c047");
    EXPECT_EQ(longer.ToHexString(), "362d0b603cb4069d9eb2b7892a36bbfc");
}

TEST(MD5, UpdateAfterAReadContinuesTheMessage) {
    MD5 md5;
    md5.Update("a", 1);
    EXPECT_EQ(md5.ToHexString(), "0cc175b9c0f1b6a831c399e269772661");
    md5.Update("bc", 2);
    EXPECT_EQ(md5.ToHexString(), "900150983cd24fb0d6963f7d28e17f72");
}

TEST(MD5, ResetStartsANewMessage) {
    MD5 md5;
    md5.Update("message digest", 14);
    md5.Reset();
    md5.Update("abc", 3);
    EXPECT_EQ(md5.ToHexString(), "900150983cd24fb0d6963f7d28e17f72");
}

TEST(MD5, GetInstanceReturnsOneInstanceInItsInitialState) {
    MD5* instance = MD5::GetInstance();
    ASSERT_NE(instance, nullptr);
    EXPECT_EQ(MD5::GetInstance(), instance);
    EXPECT_EQ(instance->ToHexString(), "d41d8cd98f00b204e9800998ecf8427e");
}

TEST(MD5, GetInstanceFromManyThreadsBuildsOneInstance) {
    std::vector<MD5*> seen(8, nullptr);
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) threads.emplace_back([&seen, i] { seen[i] = MD5::GetInstance(); });
    for (auto& thread : threads) thread.join();
    for (MD5* instance : seen) EXPECT_EQ(instance, MD5::GetInstance());
}
