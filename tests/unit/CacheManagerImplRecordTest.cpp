// How CacheManagerImpl turns response headers into the flags of a record, and how it judges a
// record that comes back.
#include <gtest/gtest.h>

#include <climits>
#include <map>
#include <string>

#include "CacheManagerImpl.h"

namespace {

using Headers = std::map<std::string, std::string>;

RpcCache Flagged(const Headers& headers) {
    RpcCache record;
    record.headers = headers;
    CacheManagerImpl manager;
    EXPECT_EQ(manager.handleResponseCacheFlag(&record), &record);
    return record;
}

int32_t Judged(RpcCache record) {
    CacheManagerImpl manager;
    EXPECT_EQ(manager.handleCacheValidation(&record), &record);
    return record.cacheStatus;
}

RpcCache WithBody(const std::string& lastModified, const std::string& etag, int32_t maxAge = 0,
                  bool offline = false) {
    RpcCache record;
    record.body = "{\"data\":{}}";
    record.lastModified = lastModified;
    record.etag = etag;
    record.maxAge = maxAge;
    record.offline = offline;
    return record;
}

}  // namespace

TEST(CacheManagerImplRecord, NullAndHeaderlessRecordsComeBackUnchanged) {
    CacheManagerImpl manager;
    EXPECT_EQ(manager.handleResponseCacheFlag(nullptr), nullptr);
    RpcCache record = Flagged(Headers());
    EXPECT_EQ(record.lastModified, "");
    EXPECT_EQ(record.maxAge, 0);
    EXPECT_EQ(record.etag, "");
    RpcCache unrelated = Flagged({{"x-retcode", "SUCCESS"}});
    EXPECT_EQ(unrelated.lastModified, "");
    EXPECT_EQ(unrelated.etag, "");
}

TEST(CacheManagerImplRecord, CacheControlAndLastModifiedTogetherFillDateAndAge) {
    RpcCache record = Flagged({{"cache-control", "public,xxxxxxxx120"}, {"last-modified", "0"}});
    EXPECT_EQ(record.lastModified, "0");
    EXPECT_EQ(record.maxAge, 120);
    EXPECT_FALSE(record.offline);
    EXPECT_EQ(record.etag, "");
}

TEST(CacheManagerImplRecord, MaxAgeSixtyLeavesMaxAgeZero) {
    RpcCache record = Flagged(
        {{"cache-control", "max-age=60"}, {"last-modified", "Wed, 21 Oct 2026 07:28:00 GMT"}});
    EXPECT_EQ(record.lastModified, "Wed, 21 Oct 2026 07:28:00 GMT");
    EXPECT_EQ(record.maxAge, 0);
}

TEST(CacheManagerImplRecord, CacheControlAloneOrLastModifiedAloneKeepsNeither) {
    RpcCache control = Flagged({{"cache-control", "xxxxxxxx30"}});
    EXPECT_EQ(control.maxAge, 0);
    EXPECT_EQ(control.lastModified, "");
    RpcCache modified = Flagged({{"last-modified", "5"}});
    EXPECT_EQ(modified.lastModified, "");
}

TEST(CacheManagerImplRecord, QuilTagIsTheValidatorAndEtagTheFallback) {
    EXPECT_EQ(Flagged({{"QUIL-XETag", "q1"}, {"etag", "e1"}}).etag, "q1");
    EXPECT_EQ(Flagged({{"etag", "e1"}}).etag, "e1");
    EXPECT_EQ(Flagged({{"QUIL-XETag", ""}, {"etag", "e1"}}).etag, "e1");
    // Keys are matched exactly as received.
    EXPECT_EQ(Flagged({{"ETag", "e1"}}).etag, "");
    EXPECT_EQ(Flagged({{"quil-xetag", "q1"}}).etag, "");
}

TEST(CacheManagerImplRecord, ValidatorIsKeptWithoutTheDateHeaders) {
    RpcCache record = Flagged({{"etag", "e1"}, {"cache-control", "xxxxxxxx30"}});
    EXPECT_EQ(record.etag, "e1");
    EXPECT_EQ(record.maxAge, 0);
    EXPECT_EQ(record.lastModified, "");
}

TEST(CacheManagerImplRecord, ShortCacheControlPiecesDoNotThrowAndReadAsZero) {
    RpcCache record = Flagged({{"cache-control", "xxxxxxxx9,a,,"}, {"last-modified", "0"}});
    // The last piece is empty and reads as 0, like every piece of eight bytes or fewer.
    EXPECT_EQ(record.maxAge, 0);
    RpcCache eight = Flagged({{"cache-control", "xxxxxxxx"}, {"last-modified", "0"}});
    EXPECT_EQ(eight.maxAge, 0);
}

TEST(CacheManagerImplRecord, ValidationOfNullIsNull) {
    CacheManagerImpl manager;
    EXPECT_EQ(manager.handleCacheValidation(nullptr), nullptr);
}

TEST(CacheManagerImplRecord, EmptyBodyIsEmptyEvenWithATag) {
    RpcCache record = WithBody("", "e1", 0, true);
    record.body.clear();
    EXPECT_EQ(Judged(record), kRpcCacheEmpty);
}

TEST(CacheManagerImplRecord, NoDateAndNoTagIsEmptyUnlessOffline) {
    EXPECT_EQ(Judged(WithBody("", "")), kRpcCacheEmpty);
    EXPECT_EQ(Judged(WithBody("", "", 0, true)), kRpcCacheExpired);
}

TEST(CacheManagerImplRecord, ATagWithoutDateMustRevalidate) {
    EXPECT_EQ(Judged(WithBody("", "e1")), kRpcCacheExpired);
}

TEST(CacheManagerImplRecord, APositiveDateIsEmptyUnlessOffline) {
    EXPECT_EQ(Judged(WithBody("1", "")), kRpcCacheEmpty);
    EXPECT_EQ(Judged(WithBody("0x10", "e1", 100)), kRpcCacheEmpty);
    EXPECT_EQ(Judged(WithBody("017", "", 0, true)), kRpcCacheExpired);
}

TEST(CacheManagerImplRecord, ADateTextReadsAsZeroAndIsFresh) {
    EXPECT_EQ(Judged(WithBody("Wed, 21 Oct 2026 07:28:00 GMT", "")), kRpcCacheFresh);
    EXPECT_EQ(Judged(WithBody("0", "", 60)), kRpcCacheFresh);
}

TEST(CacheManagerImplRecord, ANegativeSumIsEmptyUnlessOffline) {
    EXPECT_EQ(Judged(WithBody("-5", "", 3)), kRpcCacheEmpty);
    EXPECT_EQ(Judged(WithBody("-5", "", 3, true)), kRpcCacheExpired);
    EXPECT_EQ(Judged(WithBody("-5", "", 5)), kRpcCacheFresh);
    EXPECT_EQ(Judged(WithBody("0", "", -1)), kRpcCacheEmpty);
}

TEST(CacheManagerImplRecord, TheSumWrapsAsSignedThirtyTwoBits) {
    // -2147483648 + -1 wraps to INT32_MAX: not negative, so fresh.
    EXPECT_EQ(Judged(WithBody("-2147483648", "", -1)), kRpcCacheFresh);
    // A date beyond the 32-bit range is held to INT32_MIN first, and wraps the same way.
    EXPECT_EQ(Judged(WithBody("-99999999999", "", INT32_MIN)), kRpcCacheFresh);
    EXPECT_EQ(Judged(WithBody("-99999999999", "", 0)), kRpcCacheEmpty);
    // A huge positive date is held to INT32_MAX: positive, so empty.
    EXPECT_EQ(Judged(WithBody("99999999999", "")), kRpcCacheEmpty);
}
